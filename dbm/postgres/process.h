// A process as the kernel knows it: who it is, its CPU time, its nice value.
//
// A backend is its process. Process ids are reused, so whoever acts on one compares the start time
// with what it was first.
#pragma once

#include <cstdint>
#include <optional>
#include <sys/types.h>

namespace dbm::postgres {

struct process_status {
    pid_t parent = 0;
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

// The nice value of a process, and that of the kernel's scheduling group of its session. None: the
// process is gone, it doesn't lead its session, or the kernel has no such groups.
[[nodiscard]] std::optional<int> nice_of(pid_t pid) noexcept;
[[nodiscard]] std::optional<int> group_nice_of(pid_t pid) noexcept;

// Set them, -20 to 19. Results: 0 or the system's error number. The kernel lets a group's value be
// written ten times a second; this waits for its turn, half a second at most.
[[nodiscard]] int set_nice(pid_t pid, int nice) noexcept;
[[nodiscard]] int set_group_nice(pid_t pid, int nice) noexcept;

// What this process may do to those values.
struct priority_rights {
    bool nice = false;  // it may set nice values, up and down
    bool grouped =
        false;           // the kernel groups processes by session, so that the group's value counts
    bool group = false;  // and it may write the values of a server's groups
};

// As seen on a process of the server.
[[nodiscard]] priority_rights rights_on(pid_t pid) noexcept;

// The user that a process runs as. None: there is no such process.
[[nodiscard]] std::optional<uid_t> user_of(pid_t pid) noexcept;

}  // namespace dbm::postgres
