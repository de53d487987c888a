#include "enforce/decide.h"

#include <bit>
#include <utility>

#include "enforce/applying_rules.h"

namespace ravelo {
namespace {

// For each limit the applying rules of a block that are breached. Returns all of them. Every limit
// has code of its own, so that its figure is read without a call.
uint64_t find_breaches(const indexed_block &block, uint64_t applying,
                       const application_figures &from, uint64_t (&breaching)[limit_count]) {
    const auto each = [&]<size_t... I>(std::index_sequence<I...> /*limits*/) {
        return (... | ((block.limited >> I & 1U) == 0
                           ? 0
                           : breaching[I] =
                                 applying & breaching_rules(block, I, limits[I].figure(from))));
    };
    return each(std::make_index_sequence<limit_count>{});
}

// Holds the applying rules of a block against the figures.
void decide_in_block(const indexed_block &block, uint64_t applying, decision *decided) {
    uint64_t breaching[limit_count] = {};
    const uint64_t any = find_breaches(block, applying, decided->from, breaching);
    uint64_t behind = applying;  // rules behind the deciding one, whose -1 takes back what it found
    if (any != 0) {
        const auto last = static_cast<uint32_t>(std::bit_width(any)) - 1;
        decided->rule = block.rules[last];
        decided->breached = 0;
        for (size_t i = 0; i < limit_count; ++i)
            decided->breached |= static_cast<uint32_t>((breaching[i] >> last) & 1U) << i;
        behind &= ~uint64_t{1} << last;  // those above that bit
    }
    for (uint32_t left = block.lifted & decided->breached; left != 0; left &= left - 1) {
        const auto limit = static_cast<uint32_t>(std::countr_zero(left));
        if ((block.lifting[limit] & behind) != 0)
            decided->breached &= ~(1U << limit);
    }
}

// The same for one rule, where there is no index.
void decide_by_rule(const config_restrict *rule, decision *decided) {
    uint32_t breached = 0;
    for (size_t i = 0; i < limit_count; ++i) {
        const int32_t limit = rule->*limits[i].field;
        if (limit == no_limit)
            decided->breached &= ~(1U << i);
        else if (limit > 0 && static_cast<uint32_t>(limit) <
                                  unbreached_from(limits[i], limits[i].figure(decided->from)))
            breached |= 1U << i;
    }
    if (breached == 0)
        return;
    decided->breached = breached;
    decided->rule = rule;
}

}  // namespace

decision decide(const glob_struct *glob, const appl_texts &texts, const appl_snapshot *record,
                const addl_appl_info_struct *info) {
    decision decided{nullptr, 0, {record, info->cpu_secs, glob->snap_time}};
    if (glob->rules_index == nullptr) {
        for (const config_restrict *rule = glob->rules_head; rule != nullptr; rule = rule->next)
            if (applies(glob, rule, texts))
                decide_by_rule(rule, &decided);
        return decided;
    }
    block_cursor cursor = applying_blocks(glob, texts);
    const indexed_block *block = nullptr;
    while (const uint64_t applying = next_applying(&cursor, &block))
        decide_in_block(*block, applying, &decided);
    return decided;
}

}  // namespace ravelo
