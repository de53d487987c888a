#include "enforce/nice_appl.h"

#include "daemon/memory.h"
#include "daemon/result.h"
#include "enforce/agent_priority.h"
#include "enforce/nice_lanes.h"
#include "log/report.h"
#include "log/text.h"

namespace ravelo {
namespace {

niceapp_struct *find_niceapp(const glob_struct *glob, uint32_t agent_id) {
    return find_in_index(
        glob->nice_index, hash_words({agent_id}),
        [agent_id](const niceapp_struct *entry) { return entry->agent_id == agent_id; });
}

}  // namespace

int32_t nice_appl(glob_struct *glob, const action_request &request, int32_t priority) {
    niceapp_struct *entry = find_niceapp(glob, request.agent_id);
    const bool known = entry != nullptr;
    if (!known)
        entry = create_niceapp(glob, request.agent_id);
    if (entry == nullptr)
        return result::memory;
    entry->seen = 1;
    if (known && entry->priority == priority)
        return result::ok;
    entry->priority = priority;

    const int32_t logged =
        report_event(glob, record_type::nice, message::priority_set,
                     {request.texts.appl_name, request.texts.auth_id, request.texts.appl_text,
                      decimal(glob->msg_token, priority), decimal(glob->msg_token2, request.line),
                      request.reason});
    if (logged != result::ok)
        return logged;
    int32_t outcome = result::ok;
    (void)set_priority(glob, request.agent_id, priority, location::nice_set,
                       &outcome);  // outcome says it all
    return outcome;
}

niceapp_struct *create_niceapp(glob_struct *glob, uint32_t agent_id) {
    niceapp_struct *entry = nullptr;
    int code = allocate_record(&entry);
    if (code == 0)
        code = reserve_index(glob->nice_index);
    if (code != 0) {
        release_memory(entry);
        report_error(glob, location::niceapp_allocate, message::out_of_memory,
                     {decimal(glob->msg_token, code)});
        return nullptr;
    }
    entry->agent_id = agent_id;
    niceapp_struct **const place = place_in_nice_list(glob, agent_id);
    entry->next = *place;
    *place = entry;
    add_nice_stop(glob, entry);
    add_to_index(glob->nice_index, hash_words({agent_id}), entry);
    return entry;
}

void forget_niceapp(glob_struct *glob, const niceapp_struct *entry) {
    drop_nice_stop(glob, entry);
    remove_from_index(glob->nice_index, hash_words({entry->agent_id}), entry);
}

}  // namespace ravelo
