// A process as the kernel knows it: who it is, its CPU time, its nice value.
//
// A backend is its process. Process ids are reused, so whoever acts on one compares the start time
// with what it was first, and holds the process meanwhile.
#pragma once

#include <cstdint>
#include <optional>
#include <sys/types.h>

#include "dbm/common/files.h"

namespace dbm::postgres {

struct process_status {
    pid_t parent = 0;
    pid_t session = 0;  // the process that leads its session
    int nice = 0;
    uint64_t start = 0;  // clock ticks since the machine was started
};

// Nanoseconds.
struct cpu_time {
    uint64_t user = 0;
    uint64_t system = 0;
};

// None: there is no such process, or it can't be seen.
[[nodiscard]] std::optional<process_status> status_of(pid_t pid) noexcept;

// The CPU time of a process so far: by its CPU clocks, where these can't be read by its status.
// None: there is no such process.
[[nodiscard]] std::optional<cpu_time> cpu_time_of(pid_t pid) noexcept;

// The server's own process, whose children its backends are.
struct server_process {
    pid_t pid = 0;  // 0: not known, and then no process is the server's
    uint64_t start = 0;
    uid_t user = 0;
};

// The process of that id as a server's. None: there is no such process, or it can't be seen.
[[nodiscard]] std::optional<server_process> server_at(pid_t pid) noexcept;

// A process of the server's, held while its nice value and that of the kernel's scheduling group of
// its session are read and set. CAP_SYS_NICE would do so to any process of the machine, so it has
// to be shown first to be the server's own.
//
// What is read, and the group's value, go by an open folder of /proc, which is bound to that very
// process. Its own nice value can only be set by its id. The id stays its own until its parent has
// seen its end, so the process is seen to live by its pidfd right before, and again afterwards. The
// kernel has no way to close what is left: the process would have to end between two system calls
// here, the server to collect it, and the whole range of ids to be used up, all within them.
// Nothing is undone then, as that would be a second shot at the same stranger.
class held_process {
  public:
    // Holds the process that has this id and began then, where it is a child of that server and
    // runs as its user. Results: 0; ESRCH it has ended, or it is not that one; otherwise the
    // system's error number, ENOSYS where the kernel has no pidfd. After a failure nothing is held.
    [[nodiscard]] int hold(const server_process &server, pid_t pid, uint64_t start) noexcept;

    // None: it has ended; for the group's also that it doesn't lead its session, or that the kernel
    // has no such groups.
    [[nodiscard]] std::optional<int> nice() const noexcept;
    [[nodiscard]] std::optional<int> group_nice() const noexcept;

    // Set them, -20 to 19. Results: 0; ESRCH it has ended; otherwise the system's error number. The
    // kernel lets a group's value be written ten times a second; this waits for its turn, half a
    // second at most.
    [[nodiscard]] int set_nice(int nice) const noexcept;
    [[nodiscard]] int set_group_nice(int nice) const noexcept;

  private:
    [[nodiscard]] bool lives() const noexcept;
    [[nodiscard]] int look(const server_process &server, uint64_t start) noexcept;

    pid_t pid_ = 0;
    file_guard handle_;  // its pidfd
    file_guard folder_;  // /proc/<pid>
};

// What this process may do to those values.
struct priority_rights {
    bool nice = false;  // it may set nice values, up and down
    bool grouped =
        false;           // the kernel groups processes by session, so that the group's value counts
    bool group = false;  // and it may write the values of a server's groups
};

// As seen on a process of the server.
[[nodiscard]] priority_rights rights_on(pid_t pid) noexcept;

// The user that a process runs as, whose rights it has. None: there is no such process, or it is
// of two users.
[[nodiscard]] std::optional<uid_t> user_of(pid_t pid) noexcept;

}  // namespace dbm::postgres
