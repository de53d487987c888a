// The sessions of the governed database as applications: who they are and what they have used.
#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "dbm/instance_conf.h"
#include "dbm/postgres/activity.h"
#include "dbm/postgres/process.h"
#include "dbm/snapshot_builder.h"

namespace dbm::postgres {

// A process that works for a session. Its CPU time never reaches the session's own process and is
// gone when it ends, so what it had used when last seen stays with the session.
struct worker {
    int32_t pid = 0;
    int64_t backend_start = 0;
    uint64_t process_start = 0;  // 0: not known
    cpu_time used = {};
    bool seen = false;
};

// What is remembered of a session from one snapshot to the next.
struct session_memory {
    int64_t backend_start = 0;
    uint64_t process_start = 0;  // 0: not known, then its priority can't be set
    int64_t idle_since = 0;      // its state_change when it was idle at its last reading; else 0
    cpu_time own = {};
    cpu_time ended = {};     // of workers that have gone
    cpu_time reported = {};  // never less than before
    std::vector<worker> workers;
    bool seen = false;
};

// By process id. Owned by the manager; sessions that have gone leave it at the next snapshot.
using session_table = std::unordered_map<int32_t, session_memory>;

// An application to report and its running statement.
struct listed_session {
    application reported;
    bool active = false;
    uint32_t weight = 1;
    uint32_t statement_start = 0;
};

// Turns the server's backends into applications, without protected ones, and brings the table up to
// date. server: the process whose children the backends are. now: microseconds since the epoch. May
// throw bad_alloc; the table is good all the same.
void list_sessions(std::span<const backend> backends, const settings &conf, pid_t server,
                   int64_t now, session_table &table, std::vector<listed_session> &listed);

}  // namespace dbm::postgres
