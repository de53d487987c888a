#include "enforce/decide.h"

#include <algorithm>
#include <limits>

#include "config/rules.h"
#include "enforce/applying_rules.h"

namespace ravelo {
namespace {

constexpr std::array<int32_t config_restrict::*, limit_count> limit_fields{
    &config_restrict::cpu_limit,     &config_restrict::locks_limit,
    &config_restrict::rowssel_limit, &config_restrict::rowsread_limit,
    &config_restrict::idle_limit,    &config_restrict::uowtime_limit};
constexpr size_t cpu = 0;
constexpr size_t uowtime = 5;

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
bool exceeds(size_t limit, int32_t value, int32_t bound) {
    if (bound < 1)
        return false;
    if (limit == uowtime)
        return value > bound;
    const auto figure = static_cast<uint32_t>(value);
    return limit == cpu ? figure >= static_cast<uint32_t>(bound)
                        : figure > static_cast<uint32_t>(bound);
}

// Holds an applying rule's limits against the values; if it breaches one it is the deciding rule.
void weigh(const config_restrict *rule, decision *decided) {
    uint32_t breached = 0;
    uint32_t lifted = 0;
    for (size_t i = 0; i < limit_count; ++i) {
        const int32_t bound = rule->*limit_fields[i];
        lifted |= (bound == no_limit ? 1U : 0U) << i;
        breached |= (exceeds(i, decided->values[i], bound) ? 1U : 0U) << i;
    }
    decided->breached &= ~lifted;
    if (breached == 0)
        return;
    decided->breached = breached;
    decided->force = rule->force;
    decided->schedule_kind = rule->schedule_kind;
    decided->priority = rule->priority;
    decided->line = rule->line;
}

}  // namespace

decision decide(const glob_struct *glob, const appl_texts &texts, const appl_snapshot *record,
                const addl_appl_info_struct *info) {
    decision decided{};
    rule_cursor cursor = applying_rules(glob, &texts);
    const config_restrict *rule = next_rule(&cursor);
    if (rule == nullptr)
        return decided;
    decided.values = {
        static_cast<int32_t>(info->cpu_secs),        static_cast<int32_t>(record->locks_held),
        static_cast<int32_t>(record->rows_selected), static_cast<int32_t>(record->rows_read),
        static_cast<int32_t>(record->idle_time),     elapsed_in_unit_of_work(glob, record)};
    for (; rule != nullptr; rule = next_rule(&cursor))
        weigh(rule, &decided);
    return decided;
}

}  // namespace ravelo
