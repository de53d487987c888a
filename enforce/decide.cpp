#include "enforce/decide.h"

#include <algorithm>
#include <limits>

#include "config/rules.h"
#include "log/text.h"

namespace ravelo {
namespace {

constexpr std::array<int32_t config_restrict::*, limit_count> limit_fields{
    &config_restrict::cpu_limit,     &config_restrict::locks_limit,
    &config_restrict::rowssel_limit, &config_restrict::rowsread_limit,
    &config_restrict::idle_limit,    &config_restrict::uowtime_limit};
constexpr size_t cpu = 0;
constexpr size_t uowtime = 5;

bool in_time(const config_restrict *rule, int32_t hhmm) {
    if (rule->time_set == 0)
        return true;
    if (rule->start_time < rule->end_time)
        return rule->start_time <= hhmm && hhmm <= rule->end_time;
    return hhmm >= rule->start_time || hhmm <= rule->end_time;
}

// Whether a list names the text; an empty list names all.
bool names(const id_node *list, std::string_view text) {
    if (list == nullptr)
        return true;
    for (const id_node *node = list; node != nullptr; node = node->next)
        if (text_of(node->name) == text)
            return true;
    return false;
}

bool applies(const glob_struct *glob, const config_restrict *rule, const appl_texts &texts) {
    return in_time(rule, glob->snap_hhmm) && names(rule->authid_list, text_of(texts.auth_id)) &&
           names(rule->applname_list, text_of(texts.appl_name));
}

bool any_of(const std::array<bool, limit_count> &breached) {
    return std::find(breached.begin(), breached.end(), true) != breached.end();
}

// Negative where the start is yet to come, as after a clock was set back. Held at the ends of its
// 32 bits, beyond which a start that is far off would change the sign.
int32_t elapsed_in_unit_of_work(const glob_struct *glob, const appl_snapshot *record) {
    using range = std::numeric_limits<int32_t>;
    if (record->uow_stop != 0 || record->uow_start == 0)
        return 0;
    const int64_t elapsed = int64_t{glob->snap_time} - int64_t{record->uow_start};
    return static_cast<int32_t>(std::clamp<int64_t>(elapsed, range::min(), range::max()));
}

// The CPU limit is reached, every other one exceeded. The unit of work's age alone has a sign.
bool is_breached(size_t limit, int32_t value, int32_t bound) {
    if (bound < 1)
        return false;
    if (limit == uowtime)
        return value > bound;
    const auto figure = static_cast<uint32_t>(value);
    return limit == cpu ? figure >= static_cast<uint32_t>(bound)
                        : figure > static_cast<uint32_t>(bound);
}

}  // namespace

decision decide(const glob_struct *glob, const appl_texts &texts, const appl_snapshot *record,
                const addl_appl_info_struct *info) {
    decision decided{};
    decided.values = {
        static_cast<int32_t>(info->cpu_secs),        static_cast<int32_t>(record->locks_held),
        static_cast<int32_t>(record->rows_selected), static_cast<int32_t>(record->rows_read),
        static_cast<int32_t>(record->idle_time),     elapsed_in_unit_of_work(glob, record)};
    for (const config_restrict *rule = glob->rules_head; rule != nullptr; rule = rule->next) {
        if (!applies(glob, rule, texts))
            continue;
        std::array<bool, limit_count> breached{};
        for (size_t i = 0; i < limit_count; ++i) {
            const int32_t bound = rule->*limit_fields[i];
            if (bound == no_limit)
                decided.breached[i] = false;
            breached[i] = is_breached(i, decided.values[i], bound);
        }
        if (!any_of(breached))
            continue;
        decided.breached = breached;
        decided.force = rule->force;
        decided.schedule_kind = rule->schedule_kind;
        decided.priority = rule->priority;
        decided.line = rule->line;
    }
    return decided;
}

bool calls_for_action(const decision &decided) {
    return any_of(decided.breached);
}

}  // namespace ravelo
