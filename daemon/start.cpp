#include "daemon/start.h"

#include "daemon/attach.h"
#include "daemon/base/memory.h"
#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "daemon/clean_up.h"
#include "daemon/main_loop.h"
#include "daemon/status_file.h"
#include "daemon/stop_signal.h"
#include "log/report.h"

namespace ravelo {
namespace {

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
        outcome = attach(glob);
    if (outcome == result::ok)
        outcome = allocate_request(glob);
    // Nothing has come into the tables of applications since init_glob emptied them.
    return outcome == result::ok ? set_up_trace(glob) : outcome;
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
