#include "dbm/postgres/process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "dbm/common/text.h"

namespace dbm::postgres {

namespace {

constexpr uint64_t second = 1'000'000'000;
constexpr const char *grouping_file = "/proc/sys/kernel/sched_autogroup_enabled";
constexpr unsigned cap_sys_nice = 23;

using file_name = std::array<char, 64>;
using file_text = std::array<char, 4096>;

file_name proc_file(pid_t pid, const char *name) {
    file_name path = {};
    (void)std::snprintf(path.data(), path.size(), "/proc/%d/%s", pid, name);  // always fits
    return path;
}

// The start of a small file of the kernel's, where its path is relative in a folder; empty when it
// can't be read.
std::string_view read_small(const char *path, file_text &text, int folder = AT_FDCWD) {
    const file_guard file(openat(folder, path, O_RDONLY | O_CLOEXEC));
    size_t length = 0;
    if (!file.is_open() || read_some(file.get(), text, &length) != 0)
        return {};
    return {text.data(), length};
}

// The fields of a process's stat file from the third on; the second, a name, may hold anything.
std::string_view fields_of(std::string_view stat) {
    const size_t name_end = stat.rfind(')');
    return name_end != std::string_view::npos ? stat.substr(name_end + 1) : std::string_view();
}

std::string_view stat_fields(pid_t pid, file_text &text) {
    return fields_of(read_small(proc_file(pid, "stat").data(), text));
}

// Field number, counted from 1, of what stat_fields gave.
template <typename Number>
bool stat_field(std::string_view fields, int number, Number &value) {
    constexpr int first = 3;
    for (int i = first; !fields.empty(); ++i) {
        fields.remove_prefix(std::min(fields.find_first_not_of(' '), fields.size()));
        const size_t end = std::min(fields.find_first_of(" \n"), fields.size());
        if (i == number)
            return parse_number(fields.substr(0, end), value);
        fields.remove_prefix(end);
    }
    return false;
}

// The kernel's id for a CPU clock of a process: which is 0 for user and system time in ticks, 1 for
// the user's part of it, 2 for the exact time.
clockid_t cpu_clock(pid_t pid, unsigned which) {
    return static_cast<clockid_t>(~static_cast<unsigned>(pid) << 3U | which);
}

bool read_clock(clockid_t clock, uint64_t &nanoseconds) {
    timespec now = {};
    if (clock_gettime(clock, &now) != 0)
        return false;
    nanoseconds = static_cast<uint64_t>(now.tv_sec) * second + static_cast<uint64_t>(now.tv_nsec);
    return true;
}

std::optional<process_status> read_status(std::string_view fields) {
    constexpr int parent_field = 4;
    constexpr int session_field = 6;
    constexpr int nice_field = 19;
    constexpr int start_field = 22;
    process_status status;
    if (!stat_field(fields, parent_field, status.parent) ||
        !stat_field(fields, session_field, status.session) ||
        !stat_field(fields, nice_field, status.nice) ||
        !stat_field(fields, start_field, status.start))
        return std::nullopt;
    return status;
}

std::optional<process_status> status_in(const file_guard &folder) {
    file_text text;
    return read_status(fields_of(read_small("stat", text, folder.get())));
}

// The user of a process's status file, where the real and the effective one are the same.
std::optional<uid_t> read_user(std::string_view status) {
    constexpr std::string_view label = "\nUid:\t";
    const size_t at = status.find(label);
    if (at == std::string_view::npos)
        return std::nullopt;
    status.remove_prefix(at + label.size());
    const std::string_view real = status.substr(0, status.find('\t'));
    status.remove_prefix(std::min(real.size() + 1, status.size()));
    uid_t user = 0;
    if (status.substr(0, status.find('\t')) != real || !parse_number(real, user))
        return std::nullopt;
    return user;
}

}  // namespace

std::optional<process_status> status_of(pid_t pid) noexcept {
    file_text text;
    return pid > 0 ? read_status(stat_fields(pid, text)) : std::nullopt;
}

std::optional<cpu_time> cpu_time_of(pid_t pid) noexcept {
    uint64_t exact = 0;
    uint64_t ticked = 0;
    uint64_t user = 0;
    if (pid > 0 && read_clock(cpu_clock(pid, 2), exact) && read_clock(cpu_clock(pid, 0), ticked) &&
        read_clock(cpu_clock(pid, 1), user)) {
        // The ticks only say how the exact time is shared out.
        const double share =
            ticked > 0 ? static_cast<double>(user) / static_cast<double>(ticked) : 1.0;
        const auto part = static_cast<uint64_t>(static_cast<double>(exact) * std::min(share, 1.0));
        return cpu_time{.user = std::min(part, exact), .system = exact - std::min(part, exact)};
    }
    constexpr int user_field = 14;
    constexpr int system_field = 15;
    file_text text;
    const std::string_view fields = stat_fields(pid, text);
    const auto ticks = static_cast<uint64_t>(std::max(sysconf(_SC_CLK_TCK), 1L));
    cpu_time used;
    if (pid <= 0 || !stat_field(fields, user_field, used.user) ||
        !stat_field(fields, system_field, used.system))
        return std::nullopt;
    return cpu_time{.user = used.user * (second / ticks), .system = used.system * (second / ticks)};
}

std::optional<server_process> server_at(pid_t pid) noexcept {
    const std::optional<process_status> status = status_of(pid);
    const std::optional<uid_t> user = user_of(pid);
    if (!status || !user)
        return std::nullopt;
    return server_process{.pid = pid, .start = status->start, .user = *user};
}

bool held_process::lives() const noexcept {
    pollfd ended = {.fd = handle_.get(), .events = POLLIN, .revents = 0};
    return handle_.is_open() && poll(&ended, 1, 0) == 0;
}

// Whether what is held is the right one; results as hold.
int held_process::look(const server_process &server, uint64_t start) noexcept {
    file_text text;
    const std::optional<process_status> status = status_in(folder_);
    const std::optional<uid_t> user = read_user(read_small("status", text, folder_.get()));
    const std::optional<process_status> parent = status_of(server.pid);
    // The folder was opened after the pidfd, so while that process lives it is the folder's.
    if (!lives())
        return ESRCH;
    if (!status || !user)
        return EAGAIN;  // it could not be read: too many open files, say
    const bool is_servers = status->start == start && status->parent == server.pid &&
                            *user == server.user && parent && parent->start == server.start;
    return is_servers ? 0 : ESRCH;
}

int held_process::hold(const server_process &server, pid_t pid, uint64_t start) noexcept {
    folder_.reset();
    handle_.reset();
    if (pid <= 0 || server.pid <= 0)
        return ESRCH;
    pid_ = pid;
    handle_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    if (!handle_.is_open())  // a thread's id is that of no process
        return errno == EINVAL || errno == ENOENT ? ESRCH : errno;
    folder_.reset(open(proc_file(pid, "").data(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    int problem = folder_.is_open() ? look(server, start) : errno;
    if (problem == ENOENT)
        problem = ESRCH;
    if (problem != 0)
        handle_.reset();
    return problem;
}

std::optional<int> held_process::nice() const noexcept {
    const std::optional<process_status> status = status_in(folder_);
    return status && lives() ? std::optional(status->nice) : std::nullopt;
}

std::optional<int> held_process::group_nice() const noexcept {
    constexpr std::string_view label = " nice ";
    file_text text;
    const std::optional<process_status> status = status_in(folder_);
    if (!status || status->session != pid_)
        return std::nullopt;
    const std::string_view line = read_small("autogroup", text, folder_.get());
    const size_t at = line.find(label);
    int nice = 0;
    if (at == std::string_view::npos ||
        !parse_number(line.substr(at + label.size(), line.find('\n') - at - label.size()), nice))
        return std::nullopt;
    return nice;
}

int held_process::set_nice(int nice) const noexcept {
    if (!lives())
        return ESRCH;
    if (setpriority(PRIO_PROCESS, static_cast<id_t>(pid_), nice) != 0)
        return errno;
    return lives() ? 0 : ESRCH;
}

int held_process::set_group_nice(int nice) const noexcept {
    constexpr int tries = 6;
    constexpr timespec turn = {.tv_sec = 0, .tv_nsec = 100'000'000};
    std::array<char, 16> text = {};
    const int length = std::snprintf(text.data(), text.size(), "%d", nice);
    const file_guard file(openat(folder_.get(), "autogroup", O_WRONLY | O_CLOEXEC));
    int problem = file.is_open() ? EAGAIN : errno;
    for (int i = 0; i < tries && problem == EAGAIN; ++i) {
        if (i > 0)
            (void)nanosleep(&turn, nullptr);  // a signal only makes the next try earlier
        problem = write(file.get(), text.data(), static_cast<size_t>(length)) < 0 ? errno : 0;
    }
    return problem == ENOENT ? ESRCH : problem;
}

priority_rights rights_on(pid_t pid) noexcept {
    constexpr std::string_view label = "CapEff:\t";
    file_text text;
    priority_rights rights;
    const std::string_view status = read_small("/proc/self/status", text);
    const size_t at = status.find(label);
    uint64_t capabilities = 0;
    if (at != std::string_view::npos) {
        const char *const begin = status.data() + at + label.size();
        (void)std::from_chars(begin, status.data() + status.size(), capabilities, 16);
    }
    rights.nice = (capabilities >> cap_sys_nice & 1U) != 0;
    rights.grouped = read_small(grouping_file, text).starts_with('1');
    rights.group = rights.grouped &&
                   faccessat(AT_FDCWD, proc_file(pid, "autogroup").data(), W_OK, AT_EACCESS) == 0;
    return rights;
}

std::optional<uid_t> user_of(pid_t pid) noexcept {
    file_text text;
    return pid > 0 ? read_user(read_small(proc_file(pid, "status").data(), text)) : std::nullopt;
}

}  // namespace dbm::postgres
