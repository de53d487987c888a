#include "dbm/postgres/server.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <unistd.h>
#include <utility>

#include "dbm/codes.h"
#include "dbm/postgres/row_counts.h"
#include "dbm/postgres/server_identity.h"
#include "dbm/session.h"

namespace dbm::postgres {

namespace {

constexpr statement ask_rights = {
    .name = "ravelo_rights",
    .text =
        "select pg_catalog.pg_backend_pid(), session_user::pg_catalog.text,"
        " pg_catalog.pg_has_role(session_user, 'pg_read_all_stats', 'usage'),"
        " pg_catalog.pg_has_role(session_user, 'pg_signal_backend', 'usage'),"
        " pg_catalog.current_database()::pg_catalog.text",
};

constexpr statement ask_extension = {
    .name = "ravelo_extension",
    .text = "select p.oid::pg_catalog.int8" RAVELO_ACCEPTED_FUNCTION,
};

constexpr statement try_extension = {
    .name = "ravelo_try_extension",
    .text = "select s.pid from " RAVELO_CALL_IF_ACCEPTED("$1") " s",
};

constexpr statement ask_unknown_role = {
    .name = "ravelo_unknown_role",
    .text =
        "select u.name from pg_catalog.unnest($1::pg_catalog.text[]) u (name) where not exists"
        " (select from pg_catalog.pg_roles r where pg_catalog.lower(r.rolname::pg_catalog.text)"
        " operator(pg_catalog.=) u.name) limit 1",
};

// The texts as an array of the server's, in lower case.
parameter array_of(std::span<const std::string> texts) {
    std::string array = "{";
    for (const std::string &text : texts) {
        array += array.size() > 1 ? ",\"" : "\"";
        for (const char c : text) {
            if (c == '"' || c == '\\')
                array += '\\';
            array += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        }
        array += '"';
    }
    return parameter(array + "}");
}

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
    if (!own || own->parent <= 0 || !is_new(*own, limit) ||
        !serves_session(where.link.socket(), own->parent, where.own_session))
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
    const std::optional<int64_t> oid = answer.int8(0, 0);
    if (response.what == trouble::none && !oid) {
        stop_counting_rows(where, "the extension ravelo is not in database " + database + ".");
        return response;
    }
    where.counting = std::to_string(oid.value_or(0));
    const std::array<parameter, 1> function = {parameter(where.counting)};
    if (response.what == trouble::none)
        response = where.link.ask(try_extension, function, answer);
    where.counts_rows = response.what == trouble::none;
    if (response.what != trouble::statement)
        return response;
    stop_counting_rows(where, response.text);
    return {};
}

reply find_rights(server &where, const settings &conf) {
    const std::chrono::seconds limit(conf.timeout);
    rows answer;
    reply response = where.link.ask(ask_rights, {}, answer);
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

parameter protected_groups(const settings &conf) {
    return array_of(conf.protected_groups);
}

reply find_protected(server &where, const settings &conf, std::string &unknown) {
    std::vector<std::string> all = conf.protected_roles;
    all.insert(all.end(), conf.protected_groups.begin(), conf.protected_groups.end());
    const std::array<parameter, 1> named = {array_of(all)};
    rows answer;
    reply response = where.link.ask(ask_unknown_role, named, answer);
    unknown = answer.text(0, 0);
    return response;
}

void stop_counting_rows(server &where, std::string reason) {
    where.counts_rows = false;
    note_limitation(where, sql::rows_unknown, {std::move(reason)});
}

reply connect_server(server &where, const settings &conf) {
    reply response =
        where.link.open(conf.connection, current_session().reader ? "ravelo-record" : "ravelod",
                        std::chrono::seconds(conf.timeout));
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

reply confirm_extension(server &where, const settings &conf) {
    rows answer;
    reply response = ask_server(where, conf, ask_extension, {}, answer);
    if (response.what == trouble::none && where.counts_rows &&
        std::to_string(answer.int8(0, 0).value_or(0)) != where.counting)
        stop_counting_rows(where, "the extension ravelo was dropped or replaced.");
    return response;
}

}  // namespace dbm::postgres
