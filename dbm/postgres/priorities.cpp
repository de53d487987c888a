#include "dbm/postgres/priorities.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace dbm::postgres {

namespace {

constexpr int weakest_nice = 19;
constexpr size_t most_spare_lines = 200;

bool is_same(const changed_process &change, pid_t pid, uint64_t start) {
    return change.pid == pid && change.start == start;
}

auto find_change(priority_table &table, pid_t pid, uint64_t start) {
    return std::find_if(table.changed.begin(), table.changed.end(),
                        [&](const changed_process &c) { return is_same(c, pid, start); });
}

bool is_alive(const changed_process &change) {
    const std::optional<process_status> status = status_of(change.pid);
    return status && status->start == change.start;
}

bool was_set(const changed_process &change, std::optional<int> nice) {
    return nice && std::find(change.set.begin(), change.set.end(), *nice) != change.set.end();
}

// Gives one process what it had. Results: 0, also when it has ended or somebody else has set it
// since; otherwise the system's error number.
int give_back(const changed_process &change) {
    if (!is_alive(change))
        return 0;
    int problem = 0;
    if (was_set(change, nice_of(change.pid)))
        problem = set_nice(change.pid, change.nice);
    if (change.group_nice && was_set(change, group_nice_of(change.pid))) {
        const int group = set_group_nice(change.pid, *change.group_nice);
        problem = problem != 0 ? problem : group;
    }
    return problem == ESRCH || !is_alive(change) ? 0 : problem;
}

// Sets a process's own value and its group's. On failure both are as before.
int apply(const priority_rights &rights, const changed_process &change, int nice) {
    const std::optional<int> before = nice_of(change.pid);
    if (!before)
        return ESRCH;
    if (rights.nice) {
        if (const int problem = set_nice(change.pid, nice); problem != 0)
            return problem;
    }
    if (!rights.group || !change.group_nice)
        return rights.nice ? 0 : EPERM;
    const int problem = set_group_nice(change.pid, nice);
    if (problem != 0 && rights.nice)
        (void)set_nice(change.pid, *before);  // the first failure is the one to report
    return problem;
}

// Brings the file to what the table says.
int rewrite(priority_table &table) {
    const int problem = rewrite_kept(table.path, table.changed);
    if (problem == 0)
        table.lines = table.changed.size();
    return problem;
}

priority_answer return_process(priority_table &table, const priority_target &target) {
    const auto change = find_change(table, target.pid, target.start);
    if (change == table.changed.end())
        return {};  // it has what it always had
    if (const int problem = give_back(*change); problem != 0)
        return {priority_result::refused, problem};
    const changed_process returned = std::move(*change);
    table.changed.erase(change);
    // Without this line the next start finds that the kernel's value is not the one that was set.
    if (table.changed.empty()) {
        (void)rewrite(table);
    } else {
        (void)keep_return(table.path, returned);
        ++table.lines;
    }
    return {};
}

}  // namespace

priority_answer set_process_priority(priority_table &table, const priority_target &target,
                                     int priority) {
    const std::optional<process_status> status = status_of(target.pid);
    if (target.start == 0 || !status || status->start != target.start)
        return {priority_result::gone, 0};
    if (priority == 0)
        return return_process(table, target);
    if (!table.rights.nice && !table.rights.group)
        return {priority_result::refused, EPERM};
    const int nice = std::min(priority, weakest_nice);
    table.changed.reserve(table.changed.size() + 1);  // nothing can fail once it is set
    const auto known = find_change(table, target.pid, target.start);
    const bool is_new = known == table.changed.end();
    changed_process change;
    if (is_new) {
        const std::optional<int> before = nice_of(target.pid);
        if (!before)
            return {priority_result::gone, 0};
        change = {.pid = target.pid,
                  .start = target.start,
                  .leader = target.leader,
                  .nice = *before,
                  .group_nice = table.rights.grouped ? group_nice_of(target.pid) : std::nullopt,
                  .set = {}};
    } else {
        change = *known;
    }
    std::erase(change.set, nice);
    change.set.push_back(nice);
    if (const int lost = keep_change(table.path, change); lost != 0)
        return {priority_result::unkept, lost};
    ++table.lines;
    const int problem = apply(table.rights, change, nice);
    if (problem == ESRCH)
        return {priority_result::gone, 0};
    if (problem != 0)
        return {priority_result::refused, problem};
    if (is_new) {
        table.changed.push_back(std::move(change));
    } else {
        *known = std::move(change);
    }
    return {};
}

int priority_of(const priority_table &table, pid_t pid, uint64_t start) {
    const auto found =
        std::find_if(table.changed.begin(), table.changed.end(),
                     [&](const changed_process &c) { return is_same(c, pid, start); });
    return found != table.changed.end() ? found->set.back() : 0;
}

size_t give_all_back(priority_table &table) {
    std::erase_if(table.changed, [](const changed_process &c) { return give_back(c) == 0; });
    if (!table.path.empty())
        (void)rewrite(table);  // the kernel's values decide, whatever an old file says
    return table.changed.size();
}

size_t give_kept_back(priority_table &table) {
    std::vector<changed_process> kept;
    if (read_kept(table.path, kept) != 0)
        return 0;  // keeping the next change fails too, and says so
    std::erase_if(kept, [](const changed_process &c) { return give_back(c) == 0; });
    table.changed = std::move(kept);
    (void)rewrite(table);
    return table.changed.size();
}

void tidy_priorities(priority_table &table) {
    if (table.changed.empty())
        return;
    std::erase_if(table.changed, [](const changed_process &c) { return !is_alive(c); });
    if (table.changed.empty() || table.lines > 4 * table.changed.size() + most_spare_lines)
        (void)rewrite(table);
}

}  // namespace dbm::postgres
