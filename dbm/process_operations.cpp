// The exported operations of a process: its start, its user, its instance and its trace.
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "dbm/call.h"
#include "dbm/catalogs.h"
#include "dbm/common/text.h"
#include "dbm/instance.h"
#include "dbm/session.h"
#include "govern/interface/constants.h"
#include "govern/interface/dbm.h"

namespace {

// The process control record: one word of it means something to the library's users.
std::array<uint32_t, 1280> control_record;

int init_process(int version) {
    if (version != dbm_library_version)
        return dbm::code::version_unknown;
    dbm::load_instance();
    dbm::forget_catalogs();
    const dbm::settings &conf = dbm::current_instance().conf;
    control_record[dbm_node_flag_offset / sizeof(uint32_t)] = conf.nodes > 1 ? 1 : 0;
    dbm::session &connection = dbm::current_session();
    if (!connection.attached) {
        connection = dbm::session{};
        connection.governed = dbm::find_manager(conf.manager);
    }
    const dbm::scripted_answer *const script = dbm::script_of(dbm::operation::init);
    return script != nullptr ? script->rc : 0;
}

dbm::outcome user_authinfo() {
    if (const auto *const script = dbm::script_of(dbm::operation::authinfo))
        return {.rc = script->rc, .sqlcode = script->sqlcode, .tokens = {}, .text = script->text};
    const dbm::instance &where = dbm::current_instance();
    if (dbm::may_govern(where))
        return {};
    dbm::outcome refused = dbm::answered(dbm::sql::not_authorized, {where.directory});
    refused.rc = dbm_authority_refused;
    return refused;
}

int instance_path(int which, char *path) {
    if (which != dbm_current_instance || path == nullptr)
        return dbm::code::bad_argument;
    if (const auto *const script = dbm::script_of(dbm::operation::instance_path);
        script != nullptr && script->rc != 0)
        return script->rc;
    const dbm::instance &where = dbm::current_instance();
    int problem = dbm::check_directory(where);
    if (problem == 0)
        problem = dbm::prepare_tmp(where);
    if (problem != 0)
        return problem;
    std::memcpy(path, where.directory.c_str(), where.directory.size() + 1);
    dbm::current_session().asked_path = true;
    return 0;
}

// Fails with a code of the library as its result, since that is all that callers show.
dbm::outcome refuse_client(int result, int32_t sqlcode, std::string token, std::string other) {
    dbm::outcome refused = dbm::answered(sqlcode, {std::move(token), std::move(other)});
    refused.rc = result;
    return refused;
}

dbm::outcome set_client(const client_setting *settings, int count) {
    if (settings == nullptr || count < 1)
        return refuse_client(dbm::code::bad_argument, dbm::sql::bad_call, "set_client", "settings");
    dbm::session &connection = dbm::current_session();
    const uint32_t nodes = dbm::current_instance().conf.nodes;
    for (int i = 0; i < count; ++i) {
        const uint16_t node = settings[i].setting_value;
        if (settings[i].setting_type != dbm_node_setting) {
            return refuse_client(dbm::code::setting_unknown, dbm::sql::bad_call, "set_client",
                                 "setting_type");
        }
        if (nodes != 0 && node >= nodes) {
            return refuse_client(dbm::code::node_unknown, dbm::sql::node_unknown,
                                 std::to_string(node), std::to_string(nodes));
        }
    }
    connection.node = settings[count - 1].setting_value;
    if (const auto *const script = dbm::script_of(dbm::operation::set_client))
        return {.rc = script->rc, .sqlcode = script->sqlcode, .tokens = {}, .text = script->text};
    return {};
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] void *dbm_control_block = control_record.data();

[[gnu::visibility("default")]] int dbm_init_process(int version) {
    dbm::traced_call call(dbm::operation::init);
    call.argument("version", version);
    return dbm::answer_code(call, ENOMEM, [&] { return init_process(version); });
}

[[gnu::visibility("default")]] int dbm_user_authinfo(unsigned char, unsigned char, unsigned char,
                                                     int, void *, sqlca *ca) {
    dbm::traced_call call(dbm::operation::authinfo);
    const int result =
        dbm::answer_call(call, dbm::operation::authinfo, ca, [] { return user_authinfo(); });
    return result == -1 ? dbm_authority_refused : result;  // without memory nobody can be let in
}

[[gnu::visibility("default")]] void dbm_to_upper(int length, int, char *text) {
    dbm::traced_call call(dbm::operation::to_upper);
    call.argument("length", length);
    if (text != nullptr && length > 0)
        dbm::to_upper({text, static_cast<size_t>(length)});
    call.finish(0, 0);
}

[[gnu::visibility("default")]] int dbm_instance_path(int which, char *path) {
    dbm::traced_call call(dbm::operation::instance_path);
    return dbm::answer_code(call, ENOMEM, [&] { return instance_path(which, path); });
}

[[gnu::visibility("default")]] int dbm_set_client(const client_setting *settings, int count,
                                                  sqlca *ca) {
    dbm::traced_call call(dbm::operation::set_client);
    if (settings != nullptr && count > 0)
        call.argument("node", settings[0].setting_value);
    return dbm::answer_call(call, dbm::operation::set_client, ca,
                            [&] { return set_client(settings, count); });
}

[[gnu::visibility("default")]] void dbm_trace_handler(int) {
    dbm::flip_trace();
}

}  // extern "C"
