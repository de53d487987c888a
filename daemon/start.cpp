#include "daemon/start.h"

#include <cstring>

#include "daemon/clean_up.h"
#include "daemon/main_loop.h"
#include "daemon/memory.h"
#include "daemon/result.h"
#include "daemon/status_file.h"
#include "daemon/stop_signal.h"
#include "log/report.h"
#include "log/text.h"

namespace ravelo {
namespace {

constexpr size_t node_flag_offset = 4300;
constexpr uint16_t node_setting = 8;

// Whether the library's connections must be directed to a node.
bool directs_to_node() {
    if (dbm_control_block == nullptr)
        return false;
    uint32_t flag = 0;
    std::memcpy(&flag, static_cast<const char *>(dbm_control_block) + node_flag_offset,
                sizeof(flag));
    return flag != 0;
}

int32_t direct_to_node(glob_struct *glob) {
    if (!directs_to_node())
        return result::ok;
    const client_setting setting{node_setting, glob->node_num};
    const int code = dbm_set_client(&setting, 1, &glob->api_sqlca);
    if (code == 0)
        return result::ok;
    report_error(glob, location::main_set_client, message::client_setup_failed,
                 {decimal(glob->msg_token, code)});
    return result::manager;
}

int32_t attach(glob_struct *glob) {
    if (dbm_attach(glob->instance_name, nullptr, nullptr, &glob->api_sqlca) == 0)
        return result::ok;
    report_manager_error(glob, location::main_attach, "DBATTACH");
    return result::manager;
}

int32_t allocate_request(glob_struct *glob) {
    const int code = allocate_record(&glob->snap_req);
    if (code != 0) {
        report_error(glob, location::main_allocate_request, message::out_of_memory,
                     {decimal(glob->msg_token, code)});
        return result::memory;
    }
    glob->snap_req_size = sizeof(snapshot_request);
    return result::ok;
}

// The trace is a convenience: without its handler the daemon goes on.
int32_t set_up_trace(glob_struct *glob) {
    const int code = install_trace_handler();
    if (code == 0)
        return result::ok;
    return report_warning(glob, location::main_trace_handler, message::request_warning,
                          {"trapinst", decimal(glob->msg_token, code)});
}

// Everything between the claim of the status file and the main loop.
int32_t prepare(glob_struct *glob) {
    int32_t outcome =
        report_event(glob, record_type::start, message::started, {text_of(glob->db_name)});
    if (outcome == result::ok)
        outcome = direct_to_node(glob);
    if (outcome == result::ok)
        outcome = attach(glob);
    if (outcome == result::ok)
        outcome = allocate_request(glob);
    if (outcome != result::ok)
        return outcome;
    glob->acct_table.fill(nullptr);
    glob->sched_table.fill(nullptr);
    return set_up_trace(glob);
}

}  // namespace

int32_t start(glob_struct *glob, const char *node_text) {
    int32_t outcome = get_status_filenames(glob, node_text);
    if (outcome != result::ok)
        return outcome;
    prepare_stop_signals();
    outcome = claim_status_file(glob);
    if (outcome != result::ok)
        return outcome;
    bool stop_requested = false;
    outcome = prepare(glob);
    if (outcome == result::ok)
        outcome = main_loop(glob, &stop_requested);
    return shut_down(glob, outcome, stop_requested);
}

}  // namespace ravelo
