// The exported operations that act on an application: force and agent priority.
#include <array>
#include <cerrno>
#include <initializer_list>
#include <string>
#include <syslog.h>

#include "dbm/call.h"
#include "dbm/instance.h"
#include "dbm/journal.h"
#include "dbm/message_text.h"
#include "dbm/message_tokens.h"
#include "dbm/session.h"
#include "govern/interface/constants.h"
#include "govern/interface/dbm.h"

namespace {

using dbm::operation;
using dbm::outcome;
using dbm::session;

outcome refused(operation which, int32_t sqlcode, std::initializer_list<const char *> more) {
    outcome result = dbm::call_failed(sqlcode, {std::string(dbm::name_of(which))});
    for (const char *const token : more)
        result.tokens.emplace_back(token);
    return result;
}

// Whether there is a daemon's attachment. Results: 0, or the code of the refusal.
int32_t may_act(const session &connection) {
    if (!connection.attached)
        return dbm::sql::not_attached;
    return connection.reader ? dbm::sql::reader_attached : 0;
}

// Carries out an action on an agent of the latest snapshot: by a recording's script, as a rehearsal
// or for real. gone is the code for an agent that is not in it; entry is filled for the journal.
template <typename Action>
outcome act(const session &connection, dbm::journal_entry &entry, int32_t gone,
            const Action &action) {
    entry.known = dbm::find_agent(connection.agents, entry.agent_id);
    if (const auto *const script = dbm::script_of(entry.which, entry.agent_id)) {
        entry.scripted = true;
        return {.rc = script->rc, .sqlcode = script->sqlcode, .tokens = {}, .text = script->text};
    }
    if (entry.known == nullptr)
        return dbm::answered(gone, {std::to_string(entry.agent_id)});
    if (dbm::current_instance().conf.observe) {
        entry.observed = true;
        return {};
    }
    return action(*entry.known);
}

// Notes an action. Once it is carried out even missing memory must not change its answer.
int note(const session &connection, const dbm::journal_entry &entry,
         const outcome &result) noexcept {
    try {
        return dbm::note_action(connection, entry, result);
    } catch (...) {
        return ENOMEM;
    }
}

// What a force answers that was made but not noted: a warning, also without memory for its tokens.
outcome not_journaled(const session &connection, int problem) noexcept {
    outcome warning;
    warning.sqlcode = dbm::sql::journal_not_written;
    try {
        warning.tokens = {dbm::journal_path(connection), std::to_string(problem)};
    } catch (...) {
        warning.tokens.clear();
    }
    return warning;
}

// Puts a warning's text in the system log.
void warn(const outcome &warning) noexcept {
    sqlca ca = {};
    dbm::fill_sqlca(&ca, warning);
    std::array<char, 1024> text = {};
    if (dbm::write_message(text, dbm::catalog_name::manager, ca) > 0)
        syslog(LOG_WARNING, "%s", text.data());
}

outcome force(dbm::traced_call &call, int count, const uint32_t *agent_ids, int mode) {
    if (count != dbm_force_count || agent_ids == nullptr || mode != dbm_force_mode) {
        return refused(operation::force, dbm::sql::bad_call,
                       {agent_ids == nullptr     ? "agent_ids"
                        : mode != dbm_force_mode ? "mode"
                                                 : "count"});
    }
    const session &connection = dbm::current_session();
    if (const int32_t problem = may_act(connection); problem != 0)
        return refused(operation::force, problem, {});
    dbm::journal_entry entry = {.which = operation::force, .agent_id = *agent_ids};
    outcome result =
        act(connection, entry, dbm::sql::agent_already_gone,
            [&](const dbm::agent &target) { return connection.governed->force(target); });
    const int lost = note(connection, entry, result);
    if (lost == 0)
        return result;
    call.argument("journal_error", lost);
    // A negative code would say that the force failed and end the daemon; a warning is logged.
    const bool done =
        result.rc == 0 && (result.sqlcode == 0 || result.sqlcode == dbm::sql::agent_already_gone);
    return done ? not_journaled(connection, lost) : result;
}

outcome set_priority(dbm::traced_call &call, uint32_t agent_id, int priority, int mode) {
    if (mode != dbm_priority_mode || priority < dbm_best_priority || priority > dbm_worst_priority)
        return refused(operation::priority, dbm::sql::bad_call,
                       {mode != dbm_priority_mode ? "mode" : "priority"});
    const session &connection = dbm::current_session();
    if (const int32_t problem = may_act(connection); problem != 0)
        return refused(operation::priority, problem, {});
    dbm::journal_entry entry = {
        .which = operation::priority, .agent_id = agent_id, .priority = priority};
    outcome result = act(connection, entry, dbm::sql::agent_gone, [&](const dbm::agent &target) {
        return connection.governed->set_priority(target, priority);
    });
    // Any code of ours would end the daemon here, so a journal that can't be written is only
    // traced, and a refusal is reported from here.
    const int lost = note(connection, entry, result);
    if (lost != 0)
        call.argument("journal_error", lost);
    if (entry.scripted || result.sqlcode <= 0)
        return result;
    call.argument("refused", result.sqlcode);
    warn(result);
    return {};
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] int dbm_force_application(int count, const uint32_t *agent_ids,
                                                         int mode, sqlca *ca) {
    dbm::traced_call call(operation::force);
    if (count > 0 && agent_ids != nullptr)
        call.argument("agent_id", *agent_ids);
    return dbm::answer_call(call, operation::force, ca,
                            [&] { return force(call, count, agent_ids, mode); });
}

[[gnu::visibility("default")]] int dbm_set_agent_priority(uint32_t agent_id, int priority, int mode,
                                                          sqlca *ca) {
    dbm::traced_call call(operation::priority);
    call.argument("agent_id", agent_id);
    call.argument("priority", priority);
    return dbm::answer_call(call, operation::priority, ca,
                            [&] { return set_priority(call, agent_id, priority, mode); });
}

}  // extern "C"
