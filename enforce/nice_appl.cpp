#include "enforce/nice_appl.h"

#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "enforce/agent_priority.h"
#include "enforce/table_records.h"
#include "log/report.h"

namespace ravelo {
namespace {

niceapp_struct *find_niceapp(const glob_struct *glob, uint32_t agent_id) {
    return find_in_index(
        glob->nice_index, hash_words({agent_id}),
        [agent_id](const niceapp_struct *entry) { return entry->agent_id == agent_id; });
}

// The link of nice_list behind which an agent id belongs. The applications of a snapshot come in
// some order, so the search goes on from where the last record was put.
niceapp_struct **place_in_nice_list(glob_struct *glob, uint32_t agent_id) {
    niceapp_struct *const last = glob->nice_place;
    const bool behind_last = last != nullptr && last->agent_id > agent_id;
    niceapp_struct **place = behind_last ? &last->next : &glob->nice_list;
    while (*place != nullptr && (*place)->agent_id > agent_id)
        place = &(*place)->next;
    return place;
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

    char reason[reason_size];
    const std::string_view why = make_reason(glob, request.decided, reason);
    const int32_t logged =
        report_event(glob, record_type::nice, message::priority_set,
                     {request.texts.appl_name, request.texts.auth_id, request.texts.appl_text,
                      decimal(glob->msg_token, priority),
                      decimal(glob->msg_token2, request.decided.rule->line), why});
    if (logged != result::ok)
        return logged;
    return set_priority(glob, request.agent_id, priority, location::nice_set);
}

niceapp_struct *create_niceapp(glob_struct *glob, uint32_t agent_id) {
    niceapp_struct *const entry = create_record(glob, glob->nice_index, location::niceapp_allocate);
    if (entry == nullptr)
        return nullptr;
    entry->agent_id = agent_id;
    niceapp_struct **const place = place_in_nice_list(glob, agent_id);
    entry->next = *place;
    *place = entry;
    glob->nice_place = entry;
    add_to_index(glob->nice_index, hash_words({agent_id}), entry);
    return entry;
}

void drop_unseen_niceapps(glob_struct *glob) {
    glob->nice_place = nullptr;  // it may be one of those that go
    drop_unseen(&glob->nice_list, &niceapp_struct::next, [glob](const niceapp_struct *entry) {
        remove_from_index(glob->nice_index, hash_words({entry->agent_id}), entry);
    });
}

}  // namespace ravelo
