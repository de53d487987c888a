#include "dbm/postgres/server.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <unistd.h>
#include <utility>

#include "dbm/codes.h"

namespace dbm::postgres {

namespace {

// A session of our own that nobody else's settings can lead astray or end.
constexpr statement settle = {
    .name = "ravelo_settle",
    .text =
        "select pg_catalog.count(pg_catalog.set_config(s.name, v.value, false))"
        " from pg_catalog.pg_settings s, (values ('search_path', 'pg_catalog'),"
        " ('statement_timeout', $1::text), ('idle_session_timeout', '0'), ('jit', 'off'))"
        " v (name, value) where s.name = v.name",
};

constexpr statement ask_rights = {
    .name = "ravelo_rights",
    .text =
        "select pg_catalog.pg_backend_pid(), current_user::text,"
        " pg_catalog.pg_has_role('pg_read_all_stats', 'usage'),"
        " pg_catalog.pg_has_role('pg_signal_backend', 'usage'),"
        " pg_catalog.current_database()::text",
};

constexpr statement ask_extension = {
    .name = "ravelo_extension",
    .text = "select pg_catalog.to_regprocedure('ravelo.statements()') is not null",
};

constexpr statement try_extension = {
    .name = "ravelo_try_extension",
    .text = "select pid, rows_selected, rows_read, plan_cost from ravelo.statements()",
};

void lacks(server &where, int32_t code, std::initializer_list<std::string> tokens) {
    const bool known = std::any_of(where.lacks.begin(), where.lacks.end(),
                                   [&](const outcome &o) { return o.sqlcode == code; });
    if (!known)
        where.lacks.push_back(answered(code, tokens));
}

// Whether a process was made just now: the backend of a connection made just now.
bool is_new(const process_status &status, std::chrono::seconds limit) {
    constexpr int64_t slack = 5;
    timespec up = {};
    const int64_t ticks = std::max(sysconf(_SC_CLK_TCK), 1L);
    if (clock_gettime(CLOCK_BOOTTIME, &up) != 0)
        return true;  // then the process id has to do
    const int64_t age = int64_t{up.tv_sec} - static_cast<int64_t>(status.start) / ticks;
    return age >= -slack && age <= limit.count() + slack;
}

// Finds the server's processes among this machine's. False: they are not there.
bool find_processes(server &where, int32_t own_pid, std::chrono::seconds limit) {
    const std::optional<process_status> own = status_of(own_pid);
    if (!own || own->parent <= 0 || !is_new(*own, limit))
        return false;
    where.process = own->parent;
    where.rights = rights_on(own_pid);
    if (!where.rights.nice)
        lacks(where, sql::nice_forbidden, {});
    if (where.rights.grouped && !where.rights.group)
        lacks(where, sql::group_forbidden, {std::to_string(user_of(own_pid).value_or(0))});
    return true;
}

reply find_extension(server &where, const std::string &database) {
    rows answer;
    where.counts_rows = false;
    reply said = where.link.ask(ask_extension, {}, answer);
    if (said.what == trouble::none && !answer.boolean(0, 0)) {
        stop_counting_rows(where, "the extension ravelo is not in database " + database + ".");
        return said;
    }
    if (said.what == trouble::none)
        said = where.link.ask(try_extension, {}, answer);
    where.counts_rows = said.what == trouble::none;
    if (said.what != trouble::statement)
        return said;
    stop_counting_rows(where, said.text);
    return {};
}

reply find_rights(server &where, const settings &conf, outcome &problem) {
    const std::chrono::seconds limit(conf.timeout);
    rows answer;
    // Later than our own limit: only for statements that we have given up.
    const std::array<parameter, 1> timeout = {
        parameter(std::to_string((limit.count() + 1) * 1000))};
    reply said = where.link.ask(settle, timeout, answer);
    if (said.what == trouble::none)
        said = where.link.ask(ask_rights, {}, answer);
    if (said.what != trouble::none)
        return said;
    const int32_t own_pid = answer.int4(0, 0).value_or(0);
    const std::string role(answer.text(0, 1));
    if (!find_processes(where, own_pid, limit)) {
        problem = call_failed(sql::server_elsewhere, {std::to_string(own_pid)});
        where.link.close();
        return {trouble::statement, {}, {}};
    }
    if (!answer.boolean(0, 2))
        lacks(where, sql::sessions_hidden, {role});
    if (!answer.boolean(0, 3))
        lacks(where, sql::force_forbidden, {role});
    return find_extension(where, std::string(answer.text(0, 4)));
}

}  // namespace

void stop_counting_rows(server &where, std::string reason) {
    where.counts_rows = false;
    lacks(where, sql::rows_unknown, {std::move(reason)});
}

reply connect_server(server &where, const settings &conf, outcome &problem) {
    reply said = where.link.open(conf.connection, std::chrono::seconds(conf.timeout));
    if (said.what == trouble::none)
        said = find_rights(where, conf, problem);
    if (said.what != trouble::none)
        where.link.close();
    return said;
}

reply ask_server(server &where, const settings &conf, const statement &what,
                 std::span<const parameter> parameters, rows &answer) {
    if (where.link.is_open()) {
        reply said = where.link.ask(what, parameters, answer);
        if (said.what != trouble::lost)
            return said;
    }
    outcome problem;
    reply said = connect_server(where, conf, problem);
    if (said.what == trouble::statement && problem.sqlcode == sql::server_elsewhere)
        return {trouble::refused, "its processes are not on this machine", {}};
    return said.what == trouble::none ? where.link.ask(what, parameters, answer) : said;
}

}  // namespace dbm::postgres
