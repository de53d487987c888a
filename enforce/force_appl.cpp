#include "enforce/force_appl.h"

#include "daemon/result.h"
#include "govern/sql_codes.h"
#include "log/report.h"
#include "log/text.h"

namespace ravelo {

int32_t force_action(glob_struct *glob, const action_request &request, uint32_t aux_number) {
    const int32_t logged =
        report_event(glob, record_type::force, message::forced,
                     {request.texts.appl_name, request.texts.auth_id, request.texts.appl_text,
                      decimal(glob->msg_token, static_cast<int32_t>(aux_number)),
                      decimal(glob->msg_token2, request.line), request.reason});
    return logged == result::ok ? force_appl(glob, request.agent_id) : logged;
}

int32_t force_appl(glob_struct *glob, uint32_t agent_id) {
    // The SQL code alone tells how the call went.
    (void)dbm_force_application(1, &agent_id, 0, &glob->api_sqlca);
    int32_t &code = glob->api_sqlca.sqlcode;
    if (code == sql_code::already_forced)
        code = sql_code::ok;
    if (code == sql_code::ok)
        return result::ok;
    const std::string_view agent = unsigned_decimal(glob->msg_token, agent_id);
    if (code > 0)
        return report_warning(glob, location::force_warned, message::force_warning,
                              {agent, decimal(glob->msg_token2, code)});
    report_error(glob, location::force_failed, message::buffer_or_force_failed,
                 {agent, decimal(glob->msg_token2, code)});
    return result::force;
}

}  // namespace ravelo
