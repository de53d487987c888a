// An application as managers report it and recordings tell of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "govern/interface/snapshot_records.h"

namespace dbm {

// What identifies an application; part of every application a manager reports. Text fields are
// blank padded as in the wire records.
struct agent {
    uint32_t agent_id = 0;
    char applname[dbm_applname_size];
    char appl_id[dbm_appl_id_size];
    char authid[dbm_authid_size];
    uint64_t incarnation = 0;  // the manager's own mark that tells reused agent ids apart
};

// One application as a manager reports it. Times in seconds since the epoch, 0: none.
struct application {
    agent who;
    uint32_t conn_time = 0;
    uint32_t idle_time = 0;  // seconds
    uint32_t locks_held = 0;
    uint32_t ref_agent_id = 0;  // agent that this one waits for; 0: none
    uint32_t rows_selected = 0;
    uint32_t rows_read = 0;
    uint32_t uow_start = 0;
    uint32_t uow_stop = 0;
    uint32_t user_cpu_s = 0;
    uint32_t user_cpu_us = 0;
    uint32_t system_cpu_s = 0;
    uint32_t system_cpu_us = 0;
    uint32_t aux_number = 0;
};

// What a record says of itself in place of the truth, so that malformed snapshots can be played. A
// size between the record's own length and 64 KiB also makes the record that long, zero-filled; any
// other size is only said.
struct record_claims {
    std::optional<uint32_t> size;
    std::optional<char> rec_type;
};

}  // namespace dbm
