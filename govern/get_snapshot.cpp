#include "govern/get_snapshot.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

#include "daemon/base/memory.h"
#include "daemon/base/result.h"
#include "daemon/base/sqlca.h"
#include "daemon/base/text.h"
#include "govern/interface/constants.h"
#include "govern/interface/sql_codes.h"
#include "log/report.h"

namespace ravelo {
namespace {

int32_t fail_call(glob_struct *glob, location where, const char *op_name, int code) {
    report_error(glob, where, message::monitor_call_failed,
                 {op_name, decimal(glob->msg_token, code),
                  decimal(glob->msg_token2, glob->api_sqlca.sqlcode)});
    return result::monitor;
}

// Turns on the monitor switches that the rules need.
int32_t turn_on_switches(glob_struct *glob) {
    std::array<switch_group, dbm_switch_groups> groups{};
    for (switch_group &group : groups)
        group.input_state = dbm_switch_unchanged;
    if (glob->uow_limit_used != 0)
        groups[dbm_uow_group].input_state = dbm_switch_on;
    if (glob->stmt_info_used != 0)
        groups[dbm_statement_group].input_state = dbm_switch_on;
    const int code =
        dbm_monitor_switches(dbm_monitor_version, nullptr, groups.data(), &glob->api_sqlca);
    if (code != 0) {
        (void)std::snprintf(glob->msg_text, message_size, "DBMSWITCH: RC = %d SQLCODE = %d", code,
                            glob->api_sqlca.sqlcode);  // always fits
        report_error_text(glob, location::switches_call);
        return result::monitor;
    }
    if (glob->api_sqlca.sqlcode != dbm_sql_ok) {
        const int32_t mapped = map_snap_sqlcode(glob, "DBMSWITCH", location::switches_code);
        if (mapped != result::no_snapshot)
            return mapped;
        if (glob->db_available == 0)
            return result::no_snapshot;
    } else {
        glob->db_available = 1;
    }
    const bool uow_off =
        glob->uow_limit_used != 0 && groups[dbm_uow_group].output_state == dbm_switch_off;
    const bool stmt_off =
        glob->stmt_info_used != 0 && groups[dbm_statement_group].output_state == dbm_switch_off;
    if (uow_off || stmt_off) {
        report_error(glob, location::switches_off, message::switches_off);
        return result::monitor;
    }
    return result::ok;
}

// Asks for the size that a snapshot needs. An estimate of 0 leaves need_size_estimate set.
int32_t estimate_size(glob_struct *glob) {
    if (glob->debug_level >= 1) {
        const int32_t logged = report_event(glob, record_type::debug, message::size_estimated);
        if (logged != result::ok)
            return logged;
    }
    const int code = dbm_snapshot_size(dbm_monitor_version, nullptr, glob->snap_req,
                                       &glob->snap_buf_size, &glob->api_sqlca);
    if (code != 0)
        return fail_call(glob, location::size_call, "DBMSNAPSIZE", code);
    if (glob->api_sqlca.sqlcode != dbm_sql_ok)
        return map_snap_sqlcode(glob, "DBMSNAPSIZE", location::size_code);
    if (glob->snap_buf_size != 0)
        glob->need_size_estimate = 0;
    return result::ok;
}

int32_t fail_buffer(glob_struct *glob, int code) {
    report_error(glob, location::buffer_allocate, message::buffer_or_force_failed,
                 {decimal(glob->msg_token, code)});
    return result::memory;
}

// Allocates a snapshot buffer with some room above snap_buf_size, which becomes its size.
int32_t allocate_buffer(glob_struct *glob) {
    const uint64_t size = glob->snap_buf_size;
    const uint64_t roomy = size + size / 10 + 4096;
    if (roomy > std::numeric_limits<uint32_t>::max())
        return fail_buffer(glob, ENOMEM);  // more than the interface can say
    glob->snap_buf_size = static_cast<uint32_t>(roomy);
    if (glob->debug_level >= 1) {
        const int32_t logged =
            report_event(glob, record_type::debug, message::buffer_allocated,
                         {unsigned_decimal(glob->msg_token, glob->snap_buf_size)});
        if (logged != result::ok)
            return logged;
    }
    void *block = nullptr;
    const int code = allocate_memory(glob->snap_buf_size, &block);
    if (code != 0)
        return fail_buffer(glob, code);
    glob->snap_buf = static_cast<unsigned char *>(block);
    return result::ok;
}

// Gives the buffer up for one of twice its size.
int32_t double_buffer(glob_struct *glob) {
    if (glob->debug_level >= 1) {
        const int32_t logged = report_event(glob, record_type::debug, message::buffer_too_small);
        if (logged != result::ok)
            return logged;
    }
    release_memory(glob->snap_buf);
    glob->snap_buf = nullptr;
    if (glob->snap_buf_size > std::numeric_limits<uint32_t>::max() / 2)
        return fail_buffer(glob, ENOMEM);
    glob->snap_buf_size *= 2;
    return result::ok;
}

// Calls the snapshot operation. *too_small: the buffer was, and there is no snapshot.
int32_t request_snapshot(glob_struct *glob, bool *too_small) {
    if (glob->debug_level >= 4) {
        const int32_t logged =
            report_event(glob, record_type::debug, message::buffer_size,
                         {unsigned_decimal(glob->msg_token, glob->snap_buf_size)});
        if (logged != result::ok)
            return logged;
    }
    const int code = dbm_snapshot(dbm_monitor_version, nullptr, glob->snap_req, glob->snap_buf_size,
                                  glob->snap_buf, &glob->summary, &glob->api_sqlca);
    if (code != 0)
        return fail_call(glob, location::snapshot_call, "DBMSNAPSHOT", code);
    *too_small = glob->api_sqlca.sqlcode == dbm_sql_buffer_too_small;
    if (*too_small)
        return result::ok;
    if (glob->api_sqlca.sqlcode != dbm_sql_ok)
        return map_snap_sqlcode(glob, "DBMSNAPSHOT", location::snapshot_code);
    glob->db_available = 1;
    return result::ok;
}

}  // namespace

void fill_snapshot_request(glob_struct *glob) {
    snapshot_request *const request = glob->snap_req;
    std::memset(request, 0, glob->snap_req_size);
    request->num_objects = dbm_request_objects;
    request->agent_id = 0;
    request->object_type = dbm_all_applications;
    const std::string_view name = text_of(glob->db_name);
    name.copy(request->object, sizeof(request->object));
}

void skip_size_estimate(glob_struct *glob, uint32_t size) {
    glob->need_size_estimate = 0;
    glob->snap_buf_size = size;
}

int32_t get_snapshot(glob_struct *glob) {
    if (glob->uow_limit_used != 0 || glob->stmt_info_used != 0) {
        const int32_t switched = turn_on_switches(glob);
        if (switched != result::ok)
            return switched;
    }
    if (glob->snap_buf == nullptr && glob->need_size_estimate != 0) {
        const int32_t estimated = estimate_size(glob);
        if (estimated != result::ok || glob->need_size_estimate != 0)
            return estimated;
    }
    for (bool too_small = true; too_small;) {
        int32_t outcome = glob->snap_buf == nullptr ? allocate_buffer(glob) : result::ok;
        if (outcome == result::ok)
            outcome = request_snapshot(glob, &too_small);
        if (outcome == result::ok && too_small)
            outcome = double_buffer(glob);
        if (outcome != result::ok)
            return outcome;
    }
    return result::ok;
}

int32_t map_snap_sqlcode(glob_struct *glob, const char *op_name, location where) {
    const int32_t code = glob->api_sqlca.sqlcode;
    const std::string_view code_text = decimal(glob->msg_token, code);
    if (code > 0) {
        glob->db_available = 1;
        if (code == dbm_sql_no_data)
            return result::no_snapshot;
        const int32_t logged =
            report_warning(glob, where, message::request_warning, {op_name, code_text});
        return logged == result::ok ? result::no_snapshot : logged;
    }
    if (is_unreachable(code)) {
        if (glob->db_available != 0) {
            const int32_t logged =
                report_warning(glob, where, message::database_unreachable, {op_name, code_text});
            if (logged != result::ok)
                return logged;
        }
        glob->db_available = 0;
        return result::no_snapshot;
    }
    glob->db_available = 0;
    report_error(glob, where, message::request_failed, {op_name, code_text});
    return result::monitor;
}

}  // namespace ravelo
