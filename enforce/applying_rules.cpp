#include "enforce/applying_rules.h"

#include <bit>
#include <cstring>

namespace ravelo {
namespace {

// Whether a list names the text; an empty list names all. Both are filled up with zeros.
bool names(const id_node *list, const char (&text)[sizeof(id_node::name)]) {
    if (list == nullptr)
        return true;
    while (list != nullptr && std::memcmp(list->name, text, sizeof(text)) != 0)
        list = list->next;
    return list != nullptr;
}

bool applies(const rule_cursor *cursor, const config_restrict *rule) {
    return in_time(rule, cursor->glob->snap_hhmm) &&
           names(rule->authid_list, cursor->texts->auth_id) &&
           names(rule->applname_list, cursor->texts->appl_name);
}

// Looks at the rules one by one.
const config_restrict *next_in_list(rule_cursor *cursor) {
    const config_restrict *rule = cursor->next;
    while (rule != nullptr && !applies(cursor, rule))
        rule = rule->next;
    cursor->next = rule != nullptr ? rule->next : nullptr;
    return rule;
}

// The rules of a block that list a name. Moves the name's blocks on behind it.
uint64_t listing(const rule_block **blocks, uint32_t block) {
    if (*blocks == nullptr || (*blocks)->block != block)
        return 0;
    const uint64_t rules = (*blocks)->rules;
    *blocks = (*blocks)->next;
    return rules;
}

}  // namespace

rule_cursor applying_rules(const glob_struct *glob, const appl_texts *texts) {
    rule_cursor cursor{glob, texts, glob->rules_head, nullptr, nullptr, 0, 0};
    rule_index *const index = glob->rules_by_name;
    if (index == nullptr)
        return cursor;
    set_time_of_day(index, glob->snap_hhmm);
    cursor.by_authid = blocks_of_name(index->authids, texts->auth_id);
    cursor.by_applname = blocks_of_name(index->applnames, texts->appl_name);
    return cursor;
}

const config_restrict *next_rule(rule_cursor *cursor) {
    const rule_index *const index = cursor->glob->rules_by_name;
    if (index == nullptr)
        return next_in_list(cursor);
    while (cursor->left == 0) {
        if (cursor->next_block == index->block_count)
            return nullptr;
        const indexed_block &block = index->blocks[cursor->next_block];
        const uint64_t by_authid = listing(&cursor->by_authid, cursor->next_block);
        const uint64_t by_applname = listing(&cursor->by_applname, cursor->next_block);
        cursor->left =
            (block.any_authid | by_authid) & (block.any_applname | by_applname) & block.in_time;
        ++cursor->next_block;
    }
    const auto first = static_cast<uint32_t>(std::countr_zero(cursor->left));
    cursor->left &= cursor->left - 1;
    return index->blocks[cursor->next_block - 1].rules[first];
}

}  // namespace ravelo
