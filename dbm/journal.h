// The journal of an instance's actions: <instance>/tmp/<DATABASE>.<node>.journal, one line of
// 'field=value' pairs for every force and priority call, in the order
//
//   time operation agent_id appl_id applname authid [priority] rc sqlcode done [observe] [scripted]
//   [error]
//
// time is the latest snapshot's; the texts of an agent that is not in it are empty (""). done=yes:
// carried out. observe=yes: answered as done but not carried out, as the instance's settings say.
// scripted=yes: the answer comes from a recording's script, nothing was carried out. error: the
// text of a refusal.
//
// All who may govern may write to it, so that each can go on where another user ended.
//
// A snapshot that failed, and what an attachment lacks, is noted with 'time operation rc sqlcode
// error'.
#pragma once

#include <cstdint>
#include <optional>

#include "dbm/common/operation.h"
#include "dbm/common/outcome.h"
#include "dbm/session.h"

namespace dbm {

struct journal_entry {
    operation which;
    uint32_t agent_id = 0;
    const agent *known = nullptr;  // null: not in the latest snapshot
    std::optional<int> priority = {};
    bool observed = false;
    bool scripted = false;
};

// Notes an action with its answer. Results: 0; ENOENT when no database is known yet; another system
// error number or code of the library. May throw bad_alloc.
[[nodiscard]] int note_action(const session &connection, const journal_entry &entry,
                              const outcome &answer);

// Notes a failure or a warning of a monitor operation with its text. Results as note_action.
[[nodiscard]] int note_failure(const session &connection, operation which, const outcome &answer);

// The journal's path. May throw bad_alloc.
[[nodiscard]] std::string journal_path(const session &connection);

}  // namespace dbm
