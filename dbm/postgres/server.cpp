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

void note_limitation(server &where, int32_t code, std::initializer_list<std::string> tokens) {
    const bool known = std::any_of(where.limitations.begin(), where.limitations.end(),
                                   [&](const outcome &o) { return o.sqlcode == code; });
    if (!known)
        where.limitations.push_back(answered(code, tokens));
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
bool find_processes(server &where, std::chrono::seconds limit) {
    const std::optional<process_status> own = status_of(where.own_session);
    if (!own || own->parent <= 0 || !is_new(*own, limit))
        return false;
    where.process = own->parent;
    where.rights = rights_on(where.own_session);
    if (!where.rights.nice)
        note_limitation(where, sql::nice_forbidden, {});
    if (where.rights.grouped && !where.rights.group)
        note_limitation(where, sql::group_forbidden,
                        {std::to_string(user_of(where.own_session).value_or(0))});
    return true;
}

reply find_extension(server &where, const std::string &database) {
    rows answer;
    where.counts_rows = false;
    reply response = where.link.ask(ask_extension, {}, answer);
    if (response.what == trouble::none && !answer.boolean(0, 0)) {
        stop_counting_rows(where, "the extension ravelo is not in database " + database + ".");
        return response;
    }
    if (response.what == trouble::none)
        response = where.link.ask(try_extension, {}, answer);
    where.counts_rows = response.what == trouble::none;
    if (response.what != trouble::statement)
        return response;
    stop_counting_rows(where, response.text);
    return {};
}

reply find_rights(server &where, const settings &conf) {
    const std::chrono::seconds limit(conf.timeout);
    rows answer;
    // Later than our own limit: only for statements that we have given up.
    const std::array<parameter, 1> timeout = {
        parameter(std::to_string((limit.count() + 1) * 1000))};
    reply response = where.link.ask(settle, timeout, answer);
    if (response.what == trouble::none)
        response = where.link.ask(ask_rights, {}, answer);
    if (response.what != trouble::none)
        return response;
    where.own_session = answer.int4(0, 0).value_or(0);
    const std::string role(answer.text(0, 1));
    if (!find_processes(where, limit))
        return {trouble::elsewhere, "its processes are not on this machine", {}};
    if (!answer.boolean(0, 2))
        note_limitation(where, sql::sessions_hidden, {role});
    if (!answer.boolean(0, 3))
        note_limitation(where, sql::force_forbidden, {role});
    return find_extension(where, std::string(answer.text(0, 4)));
}

}  // namespace

void stop_counting_rows(server &where, std::string reason) {
    where.counts_rows = false;
    note_limitation(where, sql::rows_unknown, {std::move(reason)});
}

reply connect_server(server &where, const settings &conf) {
    reply response = where.link.open(conf.connection, std::chrono::seconds(conf.timeout));
    if (response.what == trouble::none)
        response = find_rights(where, conf);
    if (response.what != trouble::none)
        where.link.close();
    return response;
}

reply ask_server(server &where, const settings &conf, const statement &what,
                 std::span<const parameter> parameters, rows &answer) {
    if (where.link.is_open()) {
        reply response = where.link.ask(what, parameters, answer);
        if (response.what != trouble::lost)
            return response;
    }
    const reply response = connect_server(where, conf);
    return response.what == trouble::none ? where.link.ask(what, parameters, answer) : response;
}

}  // namespace dbm::postgres
