#include "enforce/check_appl.h"

#include "config/rules.h"
#include "daemon/base/result.h"
#include "enforce/account.h"
#include "enforce/decide.h"
#include "enforce/force_appl.h"
#include "enforce/nice_appl.h"
#include "enforce/schedule_groups.h"

namespace ravelo {
namespace {

void count_reference(const glob_struct *glob, const appl_snapshot *record) {
    if (record->ref_agent_id == 0)
        return;
    if (schedapp_struct *const referred = find_schedapp(glob, record->ref_agent_id))
        ++referred->ref_count;
}

}  // namespace

int32_t check_appl(glob_struct *glob, const appl_snapshot *record,
                   const addl_appl_info_struct *info, int32_t account_due) {
    action_request request;  // filled as far as it is needed
    copy_texts(record, &request.texts);
    request.agent_id = record->agent_id;
    count_reference(glob, record);
    if (glob->account_interval != 0) {
        const int32_t accounted = account_appl(glob, request.texts, record, account_due);
        if (accounted != result::ok)
            return accounted;
    }
    request.decided = decide(glob, request.texts, record, info);
    if (request.decided.breached == 0)
        return result::ok;
    const config_restrict *const rule = request.decided.rule;
    if (rule->force != 0)
        return force_action(glob, request, record->aux_number);
    if (rule->schedule_kind != not_scheduled)
        return schedule_appl(glob, request, rule->schedule_kind, info);
    return nice_appl(glob, request, rule->priority);
}

}  // namespace ravelo
