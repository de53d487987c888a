#include "enforce/force_appl.h"

#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "govern/interface/constants.h"
#include "govern/interface/sql_codes.h"
#include "log/report.h"

namespace ravelo {

int32_t force_action(glob_struct *glob, const action_request &request, uint32_t aux_number) {
    char reason[reason_size];
    const std::string_view why = make_reason(glob, request.decided, reason);
    const int32_t logged =
        report_event(glob, record_type::force, message::forced,
                     {request.texts.appl_name, request.texts.auth_id, request.texts.appl_text,
                      decimal(glob->msg_token, static_cast<int32_t>(aux_number)),
                      decimal(glob->msg_token2, request.decided.rule->line), why});
    return logged == result::ok ? force_appl(glob, request.agent_id) : logged;
}

int32_t force_appl(glob_struct *glob, uint32_t agent_id) {
    // The SQL code alone tells how the call went.
    (void)dbm_force_application(dbm_force_count, &agent_id, dbm_force_mode, &glob->api_sqlca);
    int32_t &code = glob->api_sqlca.sqlcode;
    if (code == dbm_sql_already_forced)
        code = dbm_sql_ok;
    if (code == dbm_sql_ok)
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
