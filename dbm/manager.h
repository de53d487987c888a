// The shape of a manager: what lies behind the library's operations.
//
// A manager is a folder of its own that fills one of these records. Everything else is shared:
// instance and settings, messages, wire records, buffer and size answers, observing, the journal
// and the trace. The functions may throw bad_alloc; the caller then answers with an error, and the
// manager must be as it was before the call.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "dbm/agents.h"
#include "dbm/common/operation.h"
#include "dbm/common/outcome.h"
#include "dbm/common/script.h"
#include "dbm/snapshot_builder.h"
#include "govern/interface/snapshot_records.h"

namespace dbm {

struct manager {
    std::string_view name;  // as "manager = …" in instance.conf says it

    // Attaches to the instance. A failure leaves nothing attached. A session that is a reader is
    // never asked to act, and nothing may be changed on its behalf, not even given back.
    outcome (*attach)();

    // Ends the attachment and releases what belongs to it. Called once for every attach.
    outcome (*detach)();

    // Turns on the groups that ask for it and fills every output state.
    outcome (*switches)(std::span<switch_group, dbm_switch_groups> groups);

    // Appends the applications of a database to builder, with the snapshot's time and switch
    // states. May be called again for the same snapshot until it is taken. Answers sql::no_data
    // when there will be no more snapshots, sql::unreachable or sql::agent_gone when the manager
    // can't be reached just now, a warning (the daemon goes on without this snapshot) or a failure.
    outcome (*list)(const std::string &database, snapshot_builder &builder);

    // The snapshot listed last was delivered.
    void (*delivered)();

    // Forces an application of the latest snapshot. 0 done, sql::agent_already_gone done before;
    // a refusal is positive, since a negative code ends the daemon.
    outcome (*force)(const agent &target);

    // Sets the priority of an agent of the latest snapshot, 0: its normal one. sql::agent_gone when
    // it has gone. A refusal is positive; it is noted and reported here, since the daemon, which
    // would end at any other code, must not learn of it.
    outcome (*set_priority)(const agent &target, int priority);

    // The scripted outcome of this call of an operation, null: none. Called once for every call;
    // agent_id is that of a force or priority call. The answer is valid until the next call of
    // this, of attach or of detach. Null where a manager's outcomes can't be scripted.
    const scripted_answer *(*scripted)(operation which, uint32_t agent_id);
};

// The manager of that name, null when this library has none.
[[nodiscard]] const manager *find_manager(std::string_view name);

// The names of all managers, for messages: "embedded, postgres". May throw bad_alloc.
[[nodiscard]] std::string manager_names();

}  // namespace dbm
