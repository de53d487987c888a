#include "dbm/postgres/postgres_manager.h"

#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "dbm/codes.h"
#include "dbm/common/text.h"
#include "dbm/instance.h"
#include "dbm/journal.h"
#include "dbm/postgres/activity.h"
#include "dbm/postgres/priorities.h"
#include "dbm/postgres/reply_text.h"
#include "dbm/postgres/server.h"
#include "dbm/postgres/sessions.h"
#include "dbm/session.h"

namespace dbm::postgres {

namespace {

using std::chrono::steady_clock;

// A snapshot listed to learn its size is delivered when it is taken at once.
constexpr std::chrono::seconds listing_keeps{2};

constexpr statement ask_switches = {
    .name = "ravelo_switches",
    .text = "select pg_catalog.current_setting('track_activities')::pg_catalog.bool",
};

// The server's own name of a database: by that very name, or by the name in any case.
constexpr statement ask_database = {
    .name = "ravelo_database",
    .text =
        "select datname::pg_catalog.text from pg_catalog.pg_database where case when"
        " $2::pg_catalog.bool then datname operator(pg_catalog.=) $1::pg_catalog.text"
        " else pg_catalog.lower(datname::pg_catalog.text) operator(pg_catalog.=)"
        " pg_catalog.lower($1::pg_catalog.text) end order by datname operator(pg_catalog.=)"
        " pg_catalog.lower($1::pg_catalog.text) desc, datname limit 1",
};

// By process id and start, so that a reused id is never hit.
constexpr statement end_session = {
    .name = "ravelo_force",
    .text =
        "select pg_catalog.pg_terminate_backend(pid) from pg_catalog.pg_stat_activity"
        " where pid operator(pg_catalog.=) $1::pg_catalog.int4"
        " and backend_start operator(pg_catalog.=) $2::pg_catalog.timestamptz"
        " and backend_type operator(pg_catalog.=) 'client backend'"
        " and pid operator(pg_catalog.<>) pg_catalog.pg_backend_pid()",
};

// Everything the manager knows. Made by attach, given back by detach.
struct governor {
    server peer;
    std::string database;  // as the daemon says it; empty before the first snapshot
    std::string datname;   // as the server says it
    session_table sessions;
    priority_table priorities;
    std::vector<listed_session> listing;  // what is to be delivered; empty: nothing yet
    bool listed = false;
    steady_clock::time_point listed_at;
    uint32_t snap_time = 0;
    bool tracks = true;           // the server's track_activities
    bool switches_asked = false;  // in this pass
    size_t reported = 0;          // limitations that the daemon was told
    size_t noted = 0;             // limitations that stand in the journal
};

governor &the_governor() {
    static governor only;
    return only;
}

const settings &conf() {
    return current_instance().conf;
}

// What trouble with the server means for a monitor operation.
outcome outcome_of(const reply &response, const std::string &database) {
    switch (response.what) {
        case trouble::none:
            return {};
        case trouble::not_running:
            return answered(sql::unreachable, {database});
        case trouble::lost:
        case trouble::gone:
            return answered(sql::agent_gone, {database});
        case trouble::refused:
        case trouble::elsewhere:
            return answered(sql::connect_failed, {response.text});
        case trouble::statement:
            break;
    }
    return answered(sql::request_failed, {response.text});
}

// The processes that may be touched are those of the server that answers.
void follow_server(governor &g, const reply &response) {
    g.priorities.rights = g.peer.rights;
    if (response.what == trouble::none)
        g.priorities.server = server_at(g.peer.process).value_or(g.priorities.server);
}

reply ask(governor &g, const statement &what, std::span<const parameter> parameters, rows &answer) {
    reply response = ask_server(g.peer, conf(), what, parameters, answer);
    follow_server(g, response);
    return response;
}

outcome attach() {
    governor &g = the_governor();
    g = governor{};
    reply response = connect_server(g.peer, conf());
    follow_server(g, response);
    if (response.what == trouble::elsewhere)
        return call_failed(sql::server_elsewhere, {std::to_string(g.peer.own_session)});
    std::string unknown;
    if (response.what == trouble::none)
        response = find_protected(g.peer, conf(), unknown);
    if (response.what == trouble::none && unknown.empty())
        return {};
    g.peer.link.close();
    return call_failed(sql::connect_failed,
                       {unknown.empty() ? response.text
                                        : "role \"" + one_line(unknown.c_str()) +
                                              "\" of \"protect\" does not exist"});
}

outcome detach() {
    governor &g = the_governor();
    const size_t left = give_all_back(g.priorities);
    const std::string path = g.priorities.store.path;
    g = governor{};
    return left == 0 ? outcome{} : call_failed(sql::priorities_left, {std::to_string(left), path});
}

// The next warning that the daemon has not been told; none after the last one.
outcome next_warning(governor &g) {
    return g.reported < g.peer.limitations.size() ? g.peer.limitations[g.reported++] : outcome{};
}

outcome switches(std::span<switch_group, dbm_switch_groups> groups) {
    governor &g = the_governor();
    rows answer;
    const reply response = ask(g, ask_switches, {}, answer);
    g.tracks = response.what == trouble::none && answer.boolean(0, 0);
    for (switch_group &group : groups)
        group.output_state = g.tracks ? dbm_switch_on : dbm_switch_off;
    if (response.what != trouble::none)
        return outcome_of(response, g.database);
    g.switches_asked = true;
    return next_warning(g);
}

// Takes up what a daemon that was killed left of a database; a reader does not.
void take_up(governor &g, const std::string &database) {
    const session &connection = current_session();
    if (connection.reader)
        return;
    g.priorities.store.path =
        tmp_file(current_instance(),
                 database + "." + std::to_string(connection.node.value_or(0)) + ".priorities");
    const size_t unread = give_kept_back(g.priorities);
    const std::string &path = g.priorities.store.path;
    std::vector<outcome> &told = g.peer.limitations;
    if (unread > 0)
        told.push_back(answered(sql::kept_unread, {path, std::to_string(unread)}));
    if (g.priorities.unusable != 0)
        told.push_back(answered(sql::kept_unusable, {path, std::to_string(g.priorities.unusable)}));
}

// Begins with a database at the first request for it: its name on the server, and what was left of
// it.
outcome begin_database(governor &g, const std::string &database) {
    const std::string_view given = server_name(conf(), database);
    const std::array<parameter, 2> named = {
        parameter(given.empty() ? database : std::string(given)),
        parameter(given.empty() ? "false" : "true")};
    rows answer;
    const reply response = ask(g, ask_database, named, answer);
    if (response.what != trouble::none)
        return outcome_of(response, database);
    if (answer.count() == 0)
        return answered(sql::database_unknown,
                        {database, "database " + std::string(named[0].data())});
    if (const size_t left = give_all_back(g.priorities); left > 0)
        return answered(sql::priorities_left, {std::to_string(left), g.priorities.store.path});
    g.datname = answer.text(0, 0);
    g.sessions.clear();
    g.database = database;
    take_up(g, database);
    return {};
}

void journal_limitations(governor &g) {
    for (; g.noted < g.peer.limitations.size(); ++g.noted)
        (void)note_failure(current_session(), operation::attach, g.peer.limitations[g.noted]);
}

// Workers come and go: those of a session with a priority get it, too.
void prioritize_workers(governor &g) {
    for (const auto &[pid, memory] : g.sessions) {
        const int priority =
            memory.workers.empty() ? 0 : priority_of(g.priorities, pid, memory.process_start);
        for (const worker &each : memory.workers) {
            if (priority == 0 ||
                priority_of(g.priorities, each.pid, each.process_start) == priority)
                continue;
            (void)set_process_priority(  // a refusal was already reported for the session
                g.priorities, {.pid = each.pid, .start = each.process_start, .leader = pid},
                priority);
        }
    }
}

outcome read_sessions(governor &g) {
    if (g.peer.counts_rows) {
        const reply confirmed = confirm_extension(g.peer, conf());
        follow_server(g, confirmed);
        if (confirmed.what != trouble::none)
            return outcome_of(confirmed, g.database);
    }
    const std::array<parameter, 3> named = {parameter(g.datname), protected_groups(conf()),
                                            parameter(g.peer.counting)};
    const std::span without_counting(named.data(), 2);
    rows answer;
    // Not asked again on a new connection, on which nothing would have been confirmed.
    reply response = g.peer.counts_rows ? g.peer.link.ask(ask_activity_and_rows, named, answer)
                                        : ask(g, ask_activity, without_counting, answer);
    if (response.what == trouble::statement && g.peer.counts_rows) {
        stop_counting_rows(g.peer, response.text);
        response = ask(g, ask_activity, without_counting, answer);
    }
    if (response.what != trouble::none)
        return outcome_of(response, g.database);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    std::vector<backend> backends;
    read_activity(answer, backends);
    list_sessions(backends, conf(), g.peer.process,
                  std::chrono::duration_cast<std::chrono::microseconds>(now).count(), g.sessions,
                  g.listing);
    g.snap_time =
        static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::seconds>(now).count());
    g.listed_at = steady_clock::now();
    g.listed = true;
    prioritize_workers(g);
    tidy_priorities(g.priorities);
    return {};
}

void build(const governor &g, snapshot_builder &builder) {
    builder.snap_time = g.snap_time;
    builder.switches.fill(g.tracks ? dbm_switch_on : dbm_switch_off);
    builder.agents.reserve(g.listing.size());
    for (const listed_session &each : g.listing) {
        add_application(builder, each.reported, each.active ? 1 : 0);
        if (each.active)
            add_statement(builder, each.weight, each.statement_start);
    }
}

outcome list(const std::string &database, snapshot_builder &builder) {
    governor &g = the_governor();
    const bool is_new = g.database != database;
    if (is_new) {
        if (outcome begun = begin_database(g, database); !succeeded(begun))
            return begun;
    }
    if (is_new || !g.listed || steady_clock::now() - g.listed_at > listing_keeps) {
        if (outcome read = read_sessions(g); !succeeded(read))
            return read;
    }
    journal_limitations(g);
    // The daemon does without a snapshot when it is told here; better with the switches.
    if (!g.switches_asked) {
        if (outcome warning = next_warning(g); !succeeded(warning))
            return warning;
    }
    build(g, builder);
    return {};
}

void delivered() {
    governor &g = the_governor();
    g.listed = false;
    g.switches_asked = false;
}

outcome force(const agent &target) {
    governor &g = the_governor();
    const std::string id = std::to_string(target.agent_id);
    const std::array<parameter, 2> session = {
        parameter(id),
        parameter::timestamp(server_timestamp(static_cast<int64_t>(target.incarnation)))};
    rows answer;
    const reply response = ask(g, end_session, session, answer);
    if (response.what != trouble::none) {
        return answered(sql::force_refused,
                        {id, std::string(padded_text(target.appl_id)), response.text});
    }
    return answer.boolean(0, 0) ? outcome{} : answered(sql::agent_already_gone, {id});
}

// Gives back what workers of a session got, whether they still work for it or not.
void return_workers(governor &g, pid_t leader) {
    const std::vector<changed_process> changed = g.priorities.changed;
    for (const changed_process &each : changed) {
        if (each.leader == leader && each.pid != leader) {
            (void)set_process_priority(g.priorities,
                                       {.pid = each.pid, .start = each.start, .leader = leader}, 0);
        }
    }
}

outcome set_priority(const agent &target, int priority) {
    governor &g = the_governor();
    const std::string id = std::to_string(target.agent_id);
    const auto pid = static_cast<int32_t>(target.agent_id);
    const auto known = g.sessions.find(pid);
    if (known == g.sessions.end() ||
        static_cast<uint64_t>(known->second.backend_start) != target.incarnation)
        return answered(sql::agent_gone, {id});
    const priority_answer answer = set_process_priority(
        g.priorities, {.pid = pid, .start = known->second.process_start, .leader = pid}, priority);
    switch (answer.what) {
        case priority_result::gone:
            return answered(sql::agent_gone, {id});
        case priority_result::refused:
            return answered(sql::priority_refused, {id, std::string(padded_text(target.appl_id)),
                                                    std::to_string(answer.error)});
        case priority_result::unkept:
            return answered(sql::priorities_unkept,
                            {g.priorities.store.path, std::to_string(answer.error)});
        case priority_result::done:
            break;
    }
    if (priority == 0)
        return_workers(g, pid);
    prioritize_workers(g);
    return {};
}

}  // namespace

const manager shape = {
    .name = "postgres",
    .attach = attach,
    .detach = detach,
    .switches = switches,
    .list = list,
    .delivered = delivered,
    .force = force,
    .set_priority = set_priority,
    .scripted = nullptr,
};

}  // namespace dbm::postgres
