#include "dbm/postgres/activity.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "dbm/postgres/row_counts.h"

namespace dbm::postgres {

namespace {

// Server times count from the year 2000.
constexpr int64_t server_epoch = 946'684'800'000'000;

enum column : int {
    pid,
    leader,
    blocker,
    port,
    locks,
    privileged,
    guarded,
    application,
    role,
    state,
    backend_start,
    xact_start,
    query_start,
    state_change,
    rows_selected,
    rows_read,
    plan_cost,
};

// Every name and every operator is qualified, so that nothing of the governed database is called.
// Blocking backends are only asked for where a lock is waited for: that takes locks of the server's
// own. A role that was dropped while its session lives is no privileged one; its oid is its name.
#define RAVELO_ACTIVITY_COLUMNS                                                               \
    "select a.pid, a.leader_pid, case when a.wait_event_type operator(pg_catalog.=) 'Lock'"   \
    " then (pg_catalog.pg_blocking_pids(a.pid))[1] end,"                                      \
    " a.client_port, l.held, coalesce(r.rolsuper or r.rolreplication, false),"                \
    " coalesce(a.usesysid operator(pg_catalog.=) o.oid, false) or exists (select from"        \
    " pg_catalog.pg_roles g where pg_catalog.lower(g.rolname::pg_catalog.text)"               \
    " operator(pg_catalog.=) any ($2::pg_catalog.text[])"                                     \
    " and pg_catalog.pg_has_role(a.usesysid, g.oid, 'member')),"                              \
    " a.application_name, coalesce(a.usename::pg_catalog.text, a.usesysid::pg_catalog.text)," \
    " a.state, a.backend_start, a.xact_start, a.query_start, a.state_change"
#define RAVELO_ACTIVITY_TABLES                                                          \
    " from pg_catalog.pg_stat_activity a"                                               \
    " left join pg_catalog.pg_roles r on r.oid operator(pg_catalog.=) a.usesysid"       \
    " left join pg_catalog.pg_roles o on o.rolname operator(pg_catalog.=) session_user" \
    " left join (select pid, pg_catalog.count(*)::pg_catalog.int4 as held"              \
    " from pg_catalog.pg_locks where granted"                                           \
    " and locktype operator(pg_catalog.<>) 'virtualxid' group by pid) l"                \
    " on l.pid operator(pg_catalog.=) a.pid"
#define RAVELO_ACTIVITY_CONDITIONS                                   \
    " where a.datname operator(pg_catalog.=) $1::pg_catalog.text"    \
    " and a.pid operator(pg_catalog.<>) pg_catalog.pg_backend_pid()" \
    " and a.backend_type operator(pg_catalog.=) any (array['client backend', 'parallel worker'])"

// Those of before 2000 and "infinity" are none.
int64_t time_at(const rows &answer, int row, int which) {
    const std::optional<int64_t> given = answer.int8(row, which);
    constexpr int64_t last = std::numeric_limits<int64_t>::max() - server_epoch;
    return given && *given > -server_epoch && *given < last ? *given + server_epoch : 0;
}

uint64_t count_at(const rows &answer, int row, int which) {
    return static_cast<uint64_t>(std::max<int64_t>(answer.int8(row, which).value_or(0), 0));
}

}  // namespace

const statement ask_activity = {
    .name = "ravelo_activity",
    .text = RAVELO_ACTIVITY_COLUMNS RAVELO_ACTIVITY_TABLES RAVELO_ACTIVITY_CONDITIONS,
};

const statement ask_activity_and_rows = {
    .name = "ravelo_activity_and_rows",
    .text = RAVELO_ACTIVITY_COLUMNS
    ", s.rows_selected, s.rows_read, s.plan_cost" RAVELO_ACTIVITY_TABLES
    " left join " RAVELO_CALL_IF_ACCEPTED(
        "$3") " s on s.pid operator(pg_catalog.=) a.pid" RAVELO_ACTIVITY_CONDITIONS,
};

void read_activity(const rows &answer, std::vector<backend> &backends) {
    backends.clear();
    backends.reserve(static_cast<size_t>(answer.count()));
    for (int row = 0; row < answer.count(); ++row) {
        backend each;
        each.pid = answer.int4(row, pid).value_or(0);
        each.backend_start = time_at(answer, row, backend_start);
        if (each.pid <= 0 || each.backend_start <= 0)
            continue;
        each.leader = answer.int4(row, leader).value_or(0);
        each.blocker = answer.int4(row, blocker).value_or(0);
        each.port = std::max(answer.int4(row, port).value_or(0), 0);
        each.locks = static_cast<uint32_t>(std::max(answer.int4(row, locks).value_or(0), 0));
        each.privileged = answer.boolean(row, privileged);
        each.guarded = answer.boolean(row, guarded);
        each.application = answer.text(row, application);
        each.role = answer.text(row, role);
        each.state = answer.text(row, state);
        each.xact_start = time_at(answer, row, xact_start);
        each.query_start = time_at(answer, row, query_start);
        each.state_change = time_at(answer, row, state_change);
        each.rows_selected = count_at(answer, row, rows_selected);
        each.rows_read = count_at(answer, row, rows_read);
        const double cost = answer.float8(row, plan_cost).value_or(0);
        each.plan_cost = std::isfinite(cost) && cost > 0 ? cost : 0;
        backends.push_back(each);
    }
}

int64_t server_timestamp(int64_t microseconds) {
    return microseconds - server_epoch;
}

}  // namespace dbm::postgres
