#include "dbm/postgres/sessions.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <string>

#include "dbm/common/text.h"

namespace dbm::postgres {

namespace {

constexpr int64_t second = 1'000'000;           // microseconds
constexpr size_t most_workers = 2048;           // of a session: no server has as many
constexpr uint64_t cpu_second = 1'000'000'000;  // nanoseconds
constexpr uint64_t most = std::numeric_limits<int32_t>::max();  // figures are shown with a sign

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool same_role(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

bool is_protected(const backend &which, const settings &conf) {
    if (which.guarded || (conf.protect_privileged && which.privileged))
        return true;
    return std::any_of(conf.protected_roles.begin(), conf.protected_roles.end(),
                       [&](const std::string &role) { return same_role(role, which.role); });
}

uint32_t figure(uint64_t value) {
    return static_cast<uint32_t>(std::min(value, most));
}

uint32_t seconds_of(int64_t microseconds) {
    return figure(static_cast<uint64_t>(std::max<int64_t>(microseconds, 0) / second));
}

// A point in time, which unlike a figure goes beyond the year 2038.
uint32_t time_of(int64_t microseconds) {
    constexpr int64_t last = std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(std::clamp<int64_t>(microseconds / second, 0, last));
}

// As much of a text as a field has room for, without a part of a character at its end.
template <size_t Size>
void put_text(char (&field)[Size], std::string_view text) {
    size_t length = std::min(text.size(), Size);
    while (length > 0 && length < text.size() &&
           (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U)
        --length;
    (void)pad_text(field, text.substr(0, length));  // it fits
}

// The names of a session. Ids in rules are upper-cased, so that roles have to be, too; the
// application id is the session id of the server's log.
void name_session(const backend &which, agent &who) {
    who.agent_id = static_cast<uint32_t>(which.pid);
    who.incarnation = static_cast<uint64_t>(which.backend_start);
    put_text(who.applname, which.application);
    std::array<char, 32> id = {};
    (void)std::snprintf(id.data(), id.size(), "%llx.%x",
                        static_cast<unsigned long long>(which.backend_start / second),
                        static_cast<unsigned>(which.pid));
    put_text(who.appl_id, id.data());
    put_text(who.authid, which.role);
    for (char &c : who.authid) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
}

void add(cpu_time &sum, const cpu_time &more) {
    sum.user += more.user;
    sum.system += more.system;
}

// Reports a new total so that neither part of it runs backwards and their sum is exact.
void report_cpu(cpu_time &reported, const cpu_time &now) {
    const uint64_t total = std::max(now.user + now.system, reported.user + reported.system);
    const uint64_t system = std::clamp(now.system, reported.system, total - reported.user);
    reported = {.user = total - system, .system = system};
}

// The start time of a process of the server; 0 for any other one.
uint64_t start_of(int32_t pid, pid_t server) {
    const std::optional<process_status> status = status_of(pid);
    return status && status->parent == server ? status->start : 0;
}

session_memory &remember(session_table &table, const backend &which, pid_t server) {
    session_memory &memory = table[which.pid];
    if (memory.backend_start != which.backend_start) {
        memory = session_memory{};
        memory.backend_start = which.backend_start;
        memory.process_start = start_of(which.pid, server);
    }
    memory.seen = true;
    return memory;
}

void read_session(session_memory &memory, const backend &which) {
    const bool idle = which.state.starts_with("idle");
    // A session that has been idle since its last reading has used nothing.
    if (idle && memory.idle_since != 0 && memory.idle_since == which.state_change)
        return;
    if (const std::optional<cpu_time> used = cpu_time_of(which.pid))
        memory.own = *used;
    memory.idle_since = idle ? which.state_change : 0;
}

void read_worker(session_memory &leader, const backend &which, pid_t server) {
    auto known = std::find_if(leader.workers.begin(), leader.workers.end(), [&](const worker &w) {
        return w.pid == which.pid && w.backend_start == which.backend_start;
    });
    if (known == leader.workers.end()) {
        if (leader.workers.size() >= most_workers)
            return;
        leader.workers.push_back({.pid = which.pid,
                                  .backend_start = which.backend_start,
                                  .process_start = start_of(which.pid, server)});
        known = leader.workers.end() - 1;
    }
    known->seen = true;
    if (const std::optional<cpu_time> used = cpu_time_of(which.pid))
        report_cpu(known->used, *used);
}

void finish_session(session_memory &memory) {
    for (const worker &each : memory.workers) {
        if (!each.seen)
            add(memory.ended, each.used);
    }
    std::erase_if(memory.workers, [](const worker &w) { return !w.seen; });
    cpu_time total = memory.own;
    add(total, memory.ended);
    for (worker &each : memory.workers) {
        add(total, each.used);
        each.seen = false;
    }
    report_cpu(memory.reported, total);
}

using blocker_table = std::unordered_map<int32_t, int32_t>;

// Who holds up a session in the end: only the first waiter shows the holder, later ones show a
// waiter before them. Each look shortens the ways that it took, so that long ones cost no more.
int32_t root_blocker(blocker_table &ways, int32_t pid) {
    int32_t root = pid;
    for (auto at = ways.find(root); at != ways.end(); at = ways.find(root)) {
        if (at->second == root)
            return pid;  // a deadlock: any of them
        if (const auto next = ways.find(at->second); next != ways.end())
            at->second = next->second;
        root = at->second;
    }
    return root;
}

listed_session describe(const backend &which, const cpu_time &used, int64_t now) {
    listed_session session;
    application &reported = session.reported;
    name_session(which, reported.who);
    reported.conn_time = time_of(which.backend_start);
    if (which.state.starts_with("idle") && which.state_change > 0)
        reported.idle_time = seconds_of(now - which.state_change);
    reported.locks_held = which.locks;
    reported.rows_selected = figure(which.rows_selected);
    reported.rows_read = figure(which.rows_read);
    reported.uow_start = time_of(which.xact_start);
    reported.user_cpu_s = figure(used.user / cpu_second);
    reported.user_cpu_us = static_cast<uint32_t>(used.user % cpu_second / 1000);
    reported.system_cpu_s = figure(used.system / cpu_second);
    reported.system_cpu_us = static_cast<uint32_t>(used.system % cpu_second / 1000);
    reported.aux_number = static_cast<uint32_t>(which.port);
    // A function called directly is a statement, too, but its start is only that of the state.
    const bool called = which.state == "fastpath function call";
    session.active = called || which.state == "active";
    // Where the clock was set back a statement has begun just now: the future would count as age.
    session.statement_start =
        time_of(std::min(called ? which.state_change : which.query_start, now));
    session.weight =
        static_cast<uint32_t>(std::clamp(which.plan_cost, 1.0, static_cast<double>(most)));
    return session;
}

}  // namespace

void list_sessions(std::span<const backend> backends, const settings &conf, pid_t server,
                   int64_t now, session_table &table, std::vector<listed_session> &listed) {
    listed.clear();
    for (auto &[pid, memory] : table)
        memory.seen = false;
    blocker_table blockers;
    for (const backend &each : backends) {
        if (each.blocker > 0)
            blockers.emplace(each.leader > 0 ? each.leader : each.pid, each.blocker);
        if (each.leader == 0 && !is_protected(each, conf))
            read_session(remember(table, each, server), each);
    }
    std::unordered_map<int32_t, uint32_t> worker_locks;
    for (const backend &each : backends) {
        const auto leader = table.find(each.leader);
        if (each.leader == 0 || leader == table.end() || !leader->second.seen)
            continue;
        read_worker(leader->second, each, server);
        worker_locks[each.leader] += each.locks;
    }
    std::erase_if(table, [](const auto &entry) { return !entry.second.seen; });
    listed.reserve(table.size());
    blocker_table ways = blockers;
    for (const backend &each : backends) {
        const auto memory = each.leader == 0 ? table.find(each.pid) : table.end();
        if (memory == table.end())
            continue;
        finish_session(memory->second);
        listed.push_back(describe(each, memory->second.reported, now));
        application &reported = listed.back().reported;
        if (const auto locks = worker_locks.find(each.pid); locks != worker_locks.end())
            reported.locks_held += locks->second;
        if (const auto waits = blockers.find(each.pid); waits != blockers.end())
            reported.ref_agent_id = static_cast<uint32_t>(root_blocker(ways, waits->second));
    }
}

}  // namespace dbm::postgres
