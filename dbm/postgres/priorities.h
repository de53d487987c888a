// The priorities of server processes: setting them, and giving back exactly what was there.
//
// Priority p is the nice value p (20: 19) of the process and of the scheduling group of its
// session, since the kernel, where it groups by session, compares only the groups. Nothing is
// set that could not be given back, and nothing is given back where the kernel shows that somebody
// else has set it since, or that the process is another one. A process that is not shown to be the
// server's, see held_process, is never touched, whatever the file says of it.
#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

#include "dbm/postgres/kept_priorities.h"
#include "dbm/postgres/process.h"

namespace dbm::postgres {

struct priority_table {
    priority_rights rights;
    server_process server;  // the one whose processes may be touched
    kept_store store;       // the file that keeps the changes
    int unusable = 0;       // why that file is left alone, and nothing set; 0: it is not
    std::string unread;     // its lines that nobody could read, which stay there
    std::vector<changed_process> changed;
    size_t lines = 0;  // in the file, about
};

enum class priority_result : uint8_t {
    done,
    gone,     // the process has ended
    refused,  // error says why; nothing was changed
    unkept,   // the change could not be noted, so it was not made; error says why
};

struct priority_answer {
    priority_result what = priority_result::done;
    int error = 0;  // a system error number or a code of the library
};

// A process and the session that it belongs to.
struct priority_target {
    pid_t pid = 0;
    uint64_t start = 0;
    pid_t leader = 0;  // the session's process
};

// Sets a priority of -20 to 20; 0 gives back what the process had. May throw bad_alloc before
// anything has been changed.
[[nodiscard]] priority_answer set_process_priority(priority_table &table,
                                                   const priority_target &target, int priority);

// The value that a session's process has been given, as a priority for its workers; 0: none.
[[nodiscard]] int priority_of(const priority_table &table, pid_t pid, uint64_t start);

// Gives back everything that was changed and forgets what has ended. What can't be given back
// stays in the file. The result is the number of processes left. May throw bad_alloc.
[[nodiscard]] size_t give_all_back(priority_table &table);

// Takes up the file's changes, as one that was killed left them, and gives them back; what can't be
// given back is tried again with all others at the end. The result is the number of lines that
// could not be read; table.unusable says whether the file could be. May throw bad_alloc.
[[nodiscard]] size_t give_kept_back(priority_table &table);

// Forgets processes that have ended and keeps the file short. May throw bad_alloc.
void tidy_priorities(priority_table &table);

}  // namespace dbm::postgres
