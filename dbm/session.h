// What the library knows of the process's one connection to a manager.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "dbm/agents.h"
#include "dbm/manager.h"

namespace dbm {

struct session {
    const manager *governed = nullptr;  // the instance's manager; null: none of that name
    bool attached = false;
    bool asked_path = false;  // for the instance directory, where a daemon's status file is

    // The attachment only watches: it sets, gives back, forces and deletes nothing. It is a
    // daemon's, and no reader's, where the process asked for the instance directory before, since
    // nobody who has not can hold a status file there, which lets in one daemon for a database.
    bool reader = true;

    std::optional<uint16_t> node;  // as set by the client; without a value it is node 0
    std::string database;          // of the latest snapshot request; empty before the first one
    agent_table agents;            // of the latest snapshot delivered
    uint32_t snap_time = 0;        // of the latest snapshot delivered; 0: none yet
};

// The process's one session.
[[nodiscard]] session &current_session();

// The scripted outcome of this call, null: none.
[[nodiscard]] const scripted_answer *script_of(operation which, uint32_t agent_id = 0);

}  // namespace dbm
