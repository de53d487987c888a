#include "enforce/agent_priority.h"

#include "daemon/base/result.h"
#include "daemon/base/sqlca.h"
#include "daemon/base/text.h"
#include "govern/interface/constants.h"
#include "log/report.h"

namespace ravelo {

int32_t set_priority(glob_struct *glob, uint32_t agent_id, int32_t priority, location where) {
    const int own_result =
        dbm_set_agent_priority(agent_id, priority, dbm_priority_mode, &glob->api_sqlca);
    if (!priority_refused(glob))
        return own_result;
    report_error(glob, where, message::priority_failed,
                 {decimal(glob->msg_token, glob->api_sqlca.sqlcode)});
    return result::priority;
}

bool priority_refused(const glob_struct *glob) {
    const int32_t code = glob->api_sqlca.sqlcode;
    return code != dbm_sql_ok && !is_unreachable(code);
}

}  // namespace ravelo
