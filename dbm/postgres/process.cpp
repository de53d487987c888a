#include "dbm/postgres/process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "dbm/common/files.h"
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

// The start of a small file of the kernel's; empty when it can't be read.
std::string_view read_small(const char *path, file_text &text) {
    const file_guard file(open(path, O_RDONLY | O_CLOEXEC));
    size_t length = 0;
    if (!file.is_open() || read_some(file.get(), text, &length) != 0)
        return {};
    return {text.data(), length};
}

// The fields of /proc/<pid>/stat from the third on; the second, a name, may hold anything.
std::string_view stat_fields(pid_t pid, file_text &text) {
    const std::string_view stat = read_small(proc_file(pid, "stat").data(), text);
    const size_t name_end = stat.rfind(')');
    return name_end != std::string_view::npos ? stat.substr(name_end + 1) : std::string_view();
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

}  // namespace

std::optional<process_status> status_of(pid_t pid) noexcept {
    constexpr int parent_field = 4;
    constexpr int start_field = 22;
    file_text text;
    const std::string_view fields = stat_fields(pid, text);
    process_status status;
    if (pid <= 0 || !stat_field(fields, parent_field, status.parent) ||
        !stat_field(fields, start_field, status.start))
        return std::nullopt;
    return status;
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

std::optional<int> nice_of(pid_t pid) noexcept {
    errno = 0;
    const int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(pid));
    return pid > 0 && errno == 0 ? std::optional(nice) : std::nullopt;
}

std::optional<int> group_nice_of(pid_t pid) noexcept {
    constexpr std::string_view label = " nice ";
    file_text text;
    if (pid <= 0 || getsid(pid) != pid)
        return std::nullopt;
    const std::string_view line = read_small(proc_file(pid, "autogroup").data(), text);
    const size_t at = line.find(label);
    int nice = 0;
    if (at == std::string_view::npos ||
        !parse_number(line.substr(at + label.size(), line.find('\n') - at - label.size()), nice))
        return std::nullopt;
    return nice;
}

int set_nice(pid_t pid, int nice) noexcept {
    return setpriority(PRIO_PROCESS, static_cast<id_t>(pid), nice) == 0 ? 0 : errno;
}

int set_group_nice(pid_t pid, int nice) noexcept {
    constexpr int tries = 6;
    constexpr timespec turn = {.tv_sec = 0, .tv_nsec = 100'000'000};
    std::array<char, 16> text = {};
    const int length = std::snprintf(text.data(), text.size(), "%d", nice);
    const file_guard file(open(proc_file(pid, "autogroup").data(), O_WRONLY | O_CLOEXEC));
    if (!file.is_open())
        return errno;
    int problem = EAGAIN;
    for (int i = 0; i < tries && problem == EAGAIN; ++i) {
        if (i > 0)
            (void)nanosleep(&turn, nullptr);  // a signal only makes the next try earlier
        problem = write(file.get(), text.data(), static_cast<size_t>(length)) < 0 ? errno : 0;
    }
    return problem;
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
    struct stat status = {};
    if (stat(proc_file(pid, "").data(), &status) != 0)
        return std::nullopt;
    return status.st_uid;
}

}  // namespace dbm::postgres
