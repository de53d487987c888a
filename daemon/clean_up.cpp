#include "daemon/clean_up.h"

#include "config/rules.h"
#include "daemon/base/memory.h"
#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "daemon/status_file.h"
#include "enforce/account.h"
#include "enforce/give_back.h"
#include "log/report.h"

namespace ravelo {

int32_t clean_up(glob_struct *glob, clean_up_mode mode) {
    release_rules(glob);
    int32_t outcome = give_back(glob);
    if (mode == clean_up_mode::at_reread)
        return outcome;
    release_accounts(glob);
    release_memory(glob->snap_req);
    release_memory(glob->snap_buf);
    glob->snap_req = nullptr;
    glob->snap_buf = nullptr;
    if (dbm_detach(&glob->api_sqlca) != 0) {
        report_manager_error(glob, location::clean_up_detach, "DBDETACH");
        outcome = result::manager;
    }
    return outcome;
}

int32_t shut_down(glob_struct *glob, int32_t outcome, bool stop_requested) {
    const int32_t cleaned = clean_up(glob, clean_up_mode::at_end);
    if (outcome == result::ok)
        outcome = cleaned;
    if (close_log(glob) != 0) {
        report_error(glob, location::main_close_log, message::log_not_closed,
                     {decimal(glob->msg_token, outcome)});
        (void)close_log(glob);  // the report has opened it again
        if (outcome == result::ok)
            outcome = result::file;
    }
    if (!stop_requested)
        delete_status_file(glob);
    return outcome;
}

}  // namespace ravelo
