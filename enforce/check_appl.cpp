#include "enforce/check_appl.h"

#include "config/rules.h"
#include "daemon/result.h"
#include "enforce/account.h"
#include "enforce/decide.h"
#include "enforce/force_appl.h"
#include "enforce/nice_appl.h"
#include "enforce/schedule_groups.h"
#include "log/report.h"
#include "log/text.h"

namespace ravelo {
namespace {

constexpr std::array<message, limit_count> reason_messages{
    message::cpu_breached,      message::locks_breached, message::rowssel_breached,
    message::rowsread_breached, message::idle_breached,  message::uowtime_breached};

void count_reference(const glob_struct *glob, const appl_snapshot *record) {
    if (record->ref_agent_id == 0)
        return;
    if (schedapp_struct *const referred = find_schedapp(glob, record->ref_agent_id))
        ++referred->ref_count;
}

// The limits breached, with their values, one after the other.
void make_reason(glob_struct *glob, const decision &decided, char (&reason)[reason_size]) {
    reason[0] = '\0';
    for (size_t i = 0; i < limit_count; ++i) {
        if (!is_breached(decided, i))
            continue;
        char text[message_size];
        message_text(glob, reason_messages[i], {decimal(glob->msg_token, decided.values[i])}, text);
        (void)append_text(reason, text_of(text));  // cut where it does not fit
    }
}

}  // namespace

int32_t check_appl(glob_struct *glob, const appl_snapshot *record,
                   const addl_appl_info_struct *info, int32_t account_due) {
    action_request request;  // filled as far as it is needed
    take_texts(record, &request.texts);
    request.agent_id = record->agent_id;
    count_reference(glob, record);
    if (glob->account_interval != 0) {
        const int32_t accounted = account_appl(glob, request.texts, record, account_due);
        if (accounted != result::ok)
            return accounted;
    }
    const decision decided = decide(glob, request.texts, record, info);
    if (!calls_for_action(decided))
        return result::ok;
    request.line = decided.line;
    make_reason(glob, decided, request.reason);
    if (decided.force != 0)
        return force_action(glob, request, record->aux_number);
    if (decided.schedule_kind != not_scheduled)
        return schedule_appl(glob, request, decided.schedule_kind, info);
    return nice_appl(glob, request, decided.priority);
}

}  // namespace ravelo
