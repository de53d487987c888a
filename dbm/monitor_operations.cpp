// The exported operations of an attachment: attach, detach, switches, snapshot size and snapshot.
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "dbm/call.h"
#include "dbm/instance.h"
#include "dbm/journal.h"
#include "dbm/session.h"
#include "govern/interface/constants.h"
#include "govern/interface/dbm.h"
#include "govern/interface/snapshot_records.h"

namespace {

using dbm::operation;
using dbm::outcome;
using dbm::session;

outcome bad_call(operation which, std::string argument) {
    return dbm::call_failed(dbm::sql::bad_call,
                            {std::string(dbm::name_of(which)), std::move(argument)});
}

outcome not_attached(operation which) {
    return dbm::call_failed(dbm::sql::not_attached, {std::string(dbm::name_of(which))});
}

outcome scripted(const dbm::scripted_answer &script) {
    return {.rc = script.rc, .sqlcode = script.sqlcode, .tokens = {}, .text = script.text};
}

bool decides(const dbm::scripted_answer *script) {
    return script != nullptr && (script->rc != 0 || script->sqlcode != 0);
}

// Why the instance can't be attached to, whatever its manager; success when it can.
outcome check_instance(const dbm::instance &where, const session &connection,
                       std::string_view name) {
    using dbm::call_failed;
    const int unusable = dbm::check_directory(where);
    if (unusable != 0) {
        return call_failed(dbm::sql::instance_unusable,
                           {where.directory, std::to_string(unusable)});
    }
    if (where.conf_problem.rc != 0)
        return where.conf_problem;
    const int open_tmp = dbm::prepare_tmp(where);
    if (open_tmp != 0) {
        return call_failed(dbm::sql::tmp_unusable,
                           {dbm::tmp_directory(where), std::to_string(open_tmp)});
    }
    if (!where.conf.name.empty() && where.conf.name != name)
        return call_failed(dbm::sql::other_instance, {where.conf.name, std::string(name)});
    if (connection.governed == nullptr) {
        return call_failed(
            dbm::sql::manager_unknown,
            {where.conf.manager, dbm::instance_file(where, "instance.conf"), dbm::manager_names()});
    }
    return {};
}

outcome attach(std::string_view name) {
    const dbm::instance &where = dbm::current_instance();
    session &connection = dbm::current_session();
    if (connection.attached)
        return dbm::call_failed(dbm::sql::already_attached, {where.directory});
    connection.governed = dbm::find_manager(where.conf.manager);
    if (const auto *const script = dbm::script_of(operation::attach); decides(script))
        return scripted(*script);
    outcome checked = check_instance(where, connection, name);
    if (!dbm::succeeded(checked))
        return checked;
    connection.database.clear();
    connection.agents.clear();
    connection.snap_time = 0;
    connection.reader = !connection.asked_path;
    outcome result = connection.governed->attach();
    connection.attached = result.rc == 0;
    return result;
}

outcome detach() {
    session &connection = dbm::current_session();
    const auto *const script = dbm::script_of(operation::detach);
    std::optional<outcome> stand_in;
    if (decides(script))
        stand_in = scripted(*script);
    // A scripted failure only stands in for the answer: what is held is released all the same.
    outcome result;
    if (connection.attached) {
        connection.attached = false;
        connection.agents = {};
        result = connection.governed->detach();
    }
    return stand_in ? *std::move(stand_in) : result;
}

outcome switches(int version, switch_group *groups) {
    if (version != dbm_monitor_version)
        return bad_call(operation::switches, "version");
    if (groups == nullptr)
        return bad_call(operation::switches, "groups");
    const session &connection = dbm::current_session();
    if (!connection.attached)
        return not_attached(operation::switches);
    const auto *const script = dbm::script_of(operation::switches);
    if (decides(script) && (script->rc != 0 || script->sqlcode < 0))
        return scripted(*script);
    const std::span<switch_group, dbm_switch_groups> all(groups, dbm_switch_groups);
    const outcome result = connection.governed->switches(all);
    if (script != nullptr && script->states) {
        for (size_t i = 0; i < all.size(); ++i)
            all[i].output_state = (*script->states)[i];
    }
    return decides(script) ? scripted(*script) : result;
}

// Whether name can be a part of a file name: it comes from outside.
bool is_file_name_part(std::string_view name) {
    bool only_dots = true;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '/' || byte < 0x20 || byte == 0x7F)
            return false;
        only_dots = only_dots && c == '.';
    }
    return !only_dots;  // which an empty name also is
}

// Takes the database from a request for all its applications. False: the request is another one.
bool read_request(const snapshot_request *request, session &connection) {
    if (request == nullptr || request->num_objects != dbm_request_objects ||
        request->object_type != dbm_all_applications)
        return false;
    const std::string_view object(request->object, sizeof request->object);
    const std::string_view database = object.substr(0, object.find('\0'));
    if (!is_file_name_part(database))
        return false;
    if (connection.database != database) {
        connection.database = database;
        connection.agents.clear();
        connection.snap_time = 0;
    }
    return true;
}

// Lists the applications into builder; a failure that nobody else would show in words is noted in
// the journal.
outcome list(operation which, const session &connection, dbm::snapshot_builder &builder) {
    outcome result = connection.governed->list(connection.database, builder);
    const bool shown = dbm::succeeded(result) || result.sqlcode == dbm::sql::unreachable ||
                       result.sqlcode == dbm::sql::agent_gone || result.sqlcode > 0;
    if (!shown)
        (void)dbm::note_failure(connection, which, result);  // the answer itself is the failure
    if (dbm::succeeded(result) && builder.needed > UINT32_MAX) {
        return dbm::answered(dbm::sql::snapshot_too_large,
                             {connection.database, std::to_string(builder.needed)});
    }
    return result;
}

// The snapshot in builder has reached the caller.
void deliver(session &connection, dbm::snapshot_builder &builder) {
    dbm::sort_agents(builder.agents);
    connection.agents = std::move(builder.agents);
    connection.snap_time = builder.snap_time;
    connection.governed->delivered();
}

outcome snapshot_size(int version, const snapshot_request *request, uint32_t *size) {
    session &connection = dbm::current_session();
    if (version != dbm_monitor_version)
        return bad_call(operation::size, "version");
    if (size == nullptr)
        return bad_call(operation::size, "size");
    if (!connection.attached)
        return not_attached(operation::size);
    if (!read_request(request, connection))
        return bad_call(operation::size, "request");
    *size = 0;
    const auto *const script = dbm::script_of(operation::size);
    if (script != nullptr && (decides(script) || script->size)) {
        *size = script->size.value_or(0);
        return scripted(*script);
    }
    dbm::snapshot_builder builder;
    outcome result = list(operation::size, connection, builder);
    if (result.sqlcode == dbm::sql::no_data)
        return {};
    if (!dbm::succeeded(result))
        return result;
    if (dbm::has_content(builder)) {
        *size = builder.needed > 0 ? static_cast<uint32_t>(builder.needed)
                                   : uint32_t{sizeof(snapshot_header)};
    } else {
        // Told that there is nothing to report, the caller takes no snapshot: this answer was it.
        deliver(connection, builder);
    }
    return result;
}

outcome snapshot(int version, const snapshot_request *request, std::span<char> buffer,
                 snapshot_summary *summary) {
    session &connection = dbm::current_session();
    if (version != dbm_monitor_version)
        return bad_call(operation::snapshot, "version");
    if (summary == nullptr)
        return bad_call(operation::snapshot, "summary");
    if (buffer.data() == nullptr && !buffer.empty())
        return bad_call(operation::snapshot, "buffer");
    if (!connection.attached)
        return not_attached(operation::snapshot);
    if (!read_request(request, connection))
        return bad_call(operation::snapshot, "request");
    if (const auto *const script = dbm::script_of(operation::snapshot); decides(script))
        return scripted(*script);
    dbm::snapshot_builder builder;
    builder.out = buffer;
    outcome result = list(operation::snapshot, connection, builder);
    if (!dbm::succeeded(result))
        return result;
    if (builder.needed > buffer.size()) {
        return dbm::answered(dbm::sql::buffer_too_small,
                             {std::to_string(builder.needed), std::to_string(buffer.size())});
    }
    dbm::fill_summary(builder, *summary);
    deliver(connection, builder);
    return result;
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] int dbm_attach(const char *instance, const char *, const char *,
                                              sqlca *ca) {
    dbm::traced_call call(operation::attach);
    const std::string_view name = instance != nullptr ? instance : "";
    call.argument("instance", name);
    return dbm::answer_call(call, operation::attach, ca, [&] { return attach(name); });
}

[[gnu::visibility("default")]] int dbm_detach(sqlca *ca) {
    dbm::traced_call call(operation::detach);
    return dbm::answer_call(call, operation::detach, ca, [] { return detach(); });
}

[[gnu::visibility("default")]] int dbm_monitor_switches(int version, void *, switch_group *groups,
                                                        sqlca *ca) {
    dbm::traced_call call(operation::switches);
    for (size_t i = 0; groups != nullptr && i < dbm_switch_groups; ++i) {
        if (groups[i].input_state == dbm_switch_on)
            call.argument("on", static_cast<int64_t>(i));
    }
    return dbm::answer_call(call, operation::switches, ca,
                            [&] { return switches(version, groups); });
}

[[gnu::visibility("default")]] int dbm_snapshot_size(int version, void *,
                                                     const snapshot_request *request,
                                                     uint32_t *size, sqlca *ca) {
    dbm::traced_call call(operation::size);
    return dbm::answer_call(call, operation::size, ca, [&] {
        outcome result = snapshot_size(version, request, size);
        call.argument("database", dbm::current_session().database);
        if (dbm::succeeded(result))
            call.argument("size", *size);
        return result;
    });
}

[[gnu::visibility("default")]] int dbm_snapshot(int version, void *,
                                                const snapshot_request *request,
                                                uint32_t buffer_size, void *buffer,
                                                snapshot_summary *summary, sqlca *ca) {
    dbm::traced_call call(operation::snapshot);
    call.argument("buffer", buffer_size);
    return dbm::answer_call(call, operation::snapshot, ca, [&] {
        outcome result =
            snapshot(version, request, {static_cast<char *>(buffer), buffer_size}, summary);
        call.argument("database", dbm::current_session().database);
        if (dbm::succeeded(result))
            call.argument("records", summary->num_records);
        return result;
    });
}

}  // extern "C"
