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

// Gives one process what it had. Results: 0, also when somebody else has set it since; otherwise as
// held_process has them.
int give_back(const held_process &process, const changed_process &change) {
    int problem = 0;
    if (was_set(change, process.nice()))
        problem = process.set_nice(change.nice);
    if (change.group_nice && was_set(change, process.group_nice())) {
        const int group = process.set_group_nice(*change.group_nice);
        problem = problem != 0 ? problem : group;
    }
    return problem;
}

// Whether nothing is left to give back: it was given back, or it has ended, or what has its id is
// no process of this server's, so that it can't be told from a stranger's.
bool is_returned(const priority_table &table, const changed_process &change) {
    held_process process;
    int problem = process.hold(table.server, change.pid, change.start);
    if (problem == 0)
        problem = give_back(process, change);
    return problem == 0 || problem == ESRCH;
}

// Sets a process's own value and its group's. On failure both are as before.
int apply(const held_process &process, const priority_rights &rights, const changed_process &change,
          int nice) {
    const std::optional<int> before = process.nice();
    if (!before)
        return ESRCH;
    if (rights.nice) {
        if (const int problem = process.set_nice(nice); problem != 0)
            return problem;
    }
    if (!rights.group || !change.group_nice)
        return rights.nice ? 0 : EPERM;
    const int problem = process.set_group_nice(nice);
    if (problem != 0 && rights.nice)
        (void)process.set_nice(*before);  // the first failure is the one to report
    return problem;
}

// Brings the file to what the table says.
int rewrite(priority_table &table) {
    if (table.unusable != 0)
        return table.unusable;
    const int problem = rewrite_kept(table.store, table.changed, table.unread);
    if (problem == 0)
        table.lines = table.changed.size();
    return problem;
}

priority_answer return_process(priority_table &table, const priority_target &target,
                               const held_process &process) {
    const auto change = find_change(table, target.pid, target.start);
    if (change == table.changed.end())
        return {};  // it has what it always had
    if (const int problem = give_back(process, *change); problem != 0 && problem != ESRCH)
        return {priority_result::refused, problem};
    const changed_process returned = std::move(*change);
    table.changed.erase(change);
    // Without this line the next start finds that the kernel's value is not the one that was set.
    if (table.changed.empty()) {
        (void)rewrite(table);
    } else {
        (void)keep_return(table.store, returned);
        ++table.lines;
    }
    return {};
}

}  // namespace

priority_answer set_process_priority(priority_table &table, const priority_target &target,
                                     int priority) {
    held_process process;
    if (const int problem = process.hold(table.server, target.pid, target.start); problem != 0)
        return {problem == ESRCH ? priority_result::gone : priority_result::refused, problem};
    if (priority == 0)
        return return_process(table, target, process);
    if (!table.rights.nice && !table.rights.group)
        return {priority_result::refused, EPERM};
    if (table.unusable != 0)
        return {priority_result::unkept, table.unusable};
    const int nice = std::min(priority, weakest_nice);
    table.changed.reserve(table.changed.size() + 1);  // nothing can fail once it is set
    const auto known = find_change(table, target.pid, target.start);
    const bool is_new = known == table.changed.end();
    changed_process change;
    if (is_new) {
        const std::optional<int> before = process.nice();
        if (!before)
            return {priority_result::gone, 0};
        change = {.pid = target.pid,
                  .start = target.start,
                  .leader = target.leader,
                  .nice = *before,
                  .group_nice = table.rights.grouped ? process.group_nice() : std::nullopt,
                  .set = {}};
    } else {
        change = *known;
    }
    std::erase(change.set, nice);
    change.set.push_back(nice);
    if (const int lost = keep_change(table.store, change); lost != 0)
        return {priority_result::unkept, lost};
    ++table.lines;
    const int problem = apply(process, table.rights, change, nice);
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
    std::erase_if(table.changed, [&](const changed_process &c) { return is_returned(table, c); });
    if (!table.store.path.empty())
        (void)rewrite(table);  // the kernel's values decide, whatever an old file says
    return table.changed.size();
}

size_t give_kept_back(priority_table &table) {
    kept_file kept;
    table.unusable = ENOMEM;  // stays where memory is missing: what was not read must not go
    table.unusable = read_kept(table.store, kept);
    std::erase_if(kept.changes, [&](const changed_process &c) { return is_returned(table, c); });
    table.changed = std::move(kept.changes);
    table.unread = std::move(kept.unread);
    (void)rewrite(table);  // where that fails, keeping the next change does, and says so
    return kept.unread_lines;
}

void tidy_priorities(priority_table &table) {
    if (table.changed.empty())
        return;
    std::erase_if(table.changed, [](const changed_process &c) { return !is_alive(c); });
    if (table.changed.empty() || table.lines > 4 * table.changed.size() + most_spare_lines)
        (void)rewrite(table);
}

}  // namespace dbm::postgres
