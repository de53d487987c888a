#include "enforce/agent_priority.h"

#include "daemon/result.h"
#include "govern/sql_codes.h"
#include "log/report.h"
#include "log/text.h"

namespace ravelo {

bool set_priority(glob_struct *glob, uint32_t agent_id, int32_t priority, location where,
                  int32_t *outcome) {
    *outcome = dbm_set_agent_priority(agent_id, priority, 0, &glob->api_sqlca);
    const int32_t code = glob->api_sqlca.sqlcode;
    if (code == sql_code::ok || sql_code::is_unreachable(code))
        return true;
    report_error(glob, where, message::priority_failed, {decimal(glob->msg_token, code)});
    *outcome = result::priority;
    return false;
}

}  // namespace ravelo
