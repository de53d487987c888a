#include "config/rule_index.h"

#include <cstring>

#include "daemon/base/memory.h"

namespace ravelo {
namespace {

constexpr int32_t no_time_of_day = -1;

uint32_t hash_of(const char (&name)[sizeof(id_node::name)]) {
    uint64_t words[sizeof(name) / sizeof(uint64_t)];
    std::memcpy(words, name, sizeof(name));
    return hash_words(words);
}

listed_name *find_name(const lookup_index<listed_name> &index,
                       const char (&name)[sizeof(id_node::name)]) {
    return find_in_index(index, hash_of(name), [&name](const listed_name *listed) {
        return std::memcmp(listed->name, name, sizeof(name)) == 0;
    });
}

uint64_t bit_of(uint32_t number) {
    return uint64_t{1} << (number % rules_in_block);
}

// Notes that a rule lists a name. Rules come in descending order of their numbers. Results: 0, or
// the allocation's error code.
int add_name(lookup_index<listed_name> &index, const id_node *node, uint32_t number) {
    listed_name *listed = find_name(index, node->name);
    if (listed == nullptr) {
        int code = reserve_index(index);
        if (code == 0)
            code = allocate_record(&listed);
        if (code != 0)
            return code;
        std::memcpy(listed->name, node->name, sizeof(listed->name));
        add_to_index(index, hash_of(listed->name), listed);
    }
    if (listed->blocks == nullptr || listed->blocks->block != number / rules_in_block) {
        rule_block *first = nullptr;
        const int code = allocate_record(&first);
        if (code != 0)
            return code;
        first->block = number / rules_in_block;
        first->next = listed->blocks;
        listed->blocks = first;
    }
    listed->blocks->rules |= bit_of(number);
    return 0;
}

int add_list(lookup_index<listed_name> &index, const id_node *list, uint32_t number) {
    int code = 0;
    for (; code == 0 && list != nullptr; list = list->next)
        code = add_name(index, list, number);
    return code;
}

// Adds a rule's limit to the thresholds. Rules come in any order.
void add_limit(limit_thresholds &thresholds, uint32_t limit, uint64_t rule) {
    uint32_t at = thresholds.count;
    while (at > 0 && thresholds.limits[at - 1] > limit)
        --at;
    const bool known = at > 0 && thresholds.limits[at - 1] == limit;
    if (!known) {
        for (uint32_t i = thresholds.count; i > at; --i)
            thresholds.limits[i] = thresholds.limits[i - 1];
        for (uint32_t i = thresholds.count + 1; i > at; --i)
            thresholds.rules[i] = thresholds.rules[i - 1];
        thresholds.limits[at] = limit;
        ++thresholds.count;
    }
    for (uint32_t n = known ? at : at + 1; n <= thresholds.count; ++n)
        thresholds.rules[n] |= rule;
}

void add_limits(indexed_block &block, const config_restrict *rule, uint32_t number) {
    for (size_t i = 0; i < limit_count; ++i) {
        const int32_t limit = rule->*limits[i].field;
        if (limit == no_limit) {
            block.lifted |= 1U << i;
            block.lifting[i] |= bit_of(number);
        } else if (limit > 0) {
            block.limited |= 1U << i;
            add_limit(block.thresholds[i], static_cast<uint32_t>(limit), bit_of(number));
        }
    }
}

// Adds a rule to the blocks and its names to their lists, the last rule first.
int add_rule(rule_index *index, uint32_t number) {
    indexed_block &block = index->blocks[number / rules_in_block];
    const config_restrict *const rule = block.rules[number % rules_in_block];
    add_limits(block, rule, number);
    block.any_authid |= rule->authid_list == nullptr ? bit_of(number) : 0;
    block.any_applname |= rule->applname_list == nullptr ? bit_of(number) : 0;
    const int code = add_list(index->authids, rule->authid_list, number);
    return code == 0 ? add_list(index->applnames, rule->applname_list, number) : code;
}

// Results: 0, or the allocation's error code; what there is of the index is to be released then.
int fill_index(const glob_struct *glob, rule_index *index) {
    for (const config_restrict *rule = glob->rules_head; rule != nullptr; rule = rule->next)
        ++index->rule_count;
    index->block_count = (index->rule_count + rules_in_block - 1) / rules_in_block;
    index->in_time_hhmm = no_time_of_day;
    void *blocks = nullptr;
    int code = allocate_memory(index->block_count * sizeof(indexed_block), &blocks);
    if (code != 0)
        return code;
    index->blocks = static_cast<indexed_block *>(blocks);
    uint32_t number = 0;
    for (const config_restrict *rule = glob->rules_head; rule != nullptr; rule = rule->next) {
        index->blocks[number / rules_in_block].rules[number % rules_in_block] = rule;
        ++number;
    }
    while (code == 0 && number > 0)
        code = add_rule(index, --number);
    return code;
}

void release_names(lookup_index<listed_name> &index) {
    for (uint32_t i = 0; i < index.capacity; ++i) {
        listed_name *const listed = index.slots[i].record;
        if (listed != nullptr)
            release_list(&listed->blocks, &rule_block::next);
        release_memory(listed);
    }
    release_index(index);
}

}  // namespace

void index_rules(glob_struct *glob) {
    release_rule_index(glob);
    if (glob->rules_head == nullptr || allocate_record(&glob->rules_index) != 0)
        return;
    if (fill_index(glob, glob->rules_index) != 0)
        release_rule_index(glob);
}

void release_rule_index(glob_struct *glob) {
    rule_index *const index = glob->rules_index;
    if (index == nullptr)
        return;
    release_names(index->authids);
    release_names(index->applnames);
    release_memory(index->blocks);
    release_memory(index);
    glob->rules_index = nullptr;
}

const rule_block *blocks_of_name(const lookup_index<listed_name> &index,
                                 const char (&name)[sizeof(id_node::name)]) {
    if (index.count == 0)
        return nullptr;
    const listed_name *const listed = find_name(index, name);
    return listed != nullptr ? listed->blocks : nullptr;
}

bool in_time(const config_restrict *rule, int32_t hhmm) {
    if (rule->time_set == 0)
        return true;
    if (rule->start_time < rule->end_time)
        return rule->start_time <= hhmm && hhmm <= rule->end_time;
    return hhmm >= rule->start_time || hhmm <= rule->end_time;
}

void set_time_of_day(rule_index *index, int32_t hhmm) {
    if (index->in_time_hhmm == hhmm)
        return;
    for (uint32_t number = 0; number < index->rule_count; ++number) {
        indexed_block &block = index->blocks[number / rules_in_block];
        const bool holds = in_time(block.rules[number % rules_in_block], hhmm);
        block.in_time = holds ? block.in_time | bit_of(number) : block.in_time & ~bit_of(number);
    }
    index->in_time_hhmm = hhmm;
}

}  // namespace ravelo
