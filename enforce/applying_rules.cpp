#include "enforce/applying_rules.h"

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

// The rules of a block that list a name. Moves the name's blocks on behind it.
uint64_t listing(const rule_block **blocks, uint32_t block) {
    if (*blocks == nullptr || (*blocks)->block != block)
        return 0;
    const uint64_t rules = (*blocks)->rules;
    *blocks = (*blocks)->next;
    return rules;
}

}  // namespace

block_cursor applying_blocks(const glob_struct *glob, const appl_texts &texts) {
    rule_index *const index = glob->rules_index;
    set_time_of_day(index, glob->snap_hhmm);
    return {index, blocks_of_name(index->authids, texts.auth_id),
            blocks_of_name(index->applnames, texts.appl_name), 0};
}

uint64_t next_applying(block_cursor *cursor, const indexed_block **block) {
    while (cursor->next < cursor->index->block_count) {
        const uint32_t number = cursor->next++;
        const indexed_block &here = cursor->index->blocks[number];
        const uint64_t by_authid = listing(&cursor->by_authid, number);
        const uint64_t by_applname = listing(&cursor->by_applname, number);
        const uint64_t applying =
            (here.any_authid | by_authid) & (here.any_applname | by_applname) & here.in_time;
        if (applying == 0)
            continue;
        *block = &here;
        return applying;
    }
    return 0;
}

bool applies(const glob_struct *glob, const config_restrict *rule, const appl_texts &texts) {
    return in_time(rule, glob->snap_hhmm) && names(rule->authid_list, texts.auth_id) &&
           names(rule->applname_list, texts.appl_name);
}

}  // namespace ravelo
