// The rules by the names they list: which rules a name belongs to is found without going through
// their lists. Rules are numbered from 0 in file order and taken in blocks of 64, one bit for each.
#pragma once

#include <cstdint>

#include "config/rules.h"
#include "daemon/glob_struct.h"
#include "daemon/lookup_index.h"

namespace ravelo {

constexpr uint32_t rules_in_block = 64;

// The rules of one block that list a name. Owned by the name's record.
struct rule_block {
    uint64_t rules;
    uint32_t block;
    rule_block *next;  // of a later block
};

// A name that rules list. Created by index_rules, owned by the index.
struct listed_name {
    char name[sizeof(id_node::name)];  // filled up with zeros
    rule_block *blocks;
};

// What is known of 64 rules whatever the name. Owned by the index.
struct indexed_block {
    const config_restrict *rules[rules_in_block];  // null behind the last rule
    uint64_t any_authid;                           // rules without a list of authorization ids
    uint64_t any_applname;                         // and of application names
    uint64_t in_time;                              // rules whose time window holds in_time_hhmm
};

// Created by index_rules, released by release_rule_index.
struct rule_index {
    uint32_t rule_count;
    uint32_t block_count;
    indexed_block *blocks;
    lookup_index<listed_name> authids;
    lookup_index<listed_name> applnames;
    int32_t in_time_hhmm;
};

// Builds rules_by_name from the rule list, which must not change while there is an index. There is
// none for a handful of names and none without memory: the rules' own lists are searched then.
void index_rules(glob_struct *glob);

// Releases the index, if there is one; the rules stay.
void release_rule_index(glob_struct *glob);

// The blocks of the rules that list a name, in ascending order, or null for none. name: filled up
// with zeros.
[[nodiscard]] const rule_block *blocks_of_name(const lookup_index<listed_name> &index,
                                               const char (&name)[sizeof(id_node::name)]);

// Whether a rule's time window holds a local time of day, hour × 100 + minute.
[[nodiscard]] bool in_time(const config_restrict *rule, int32_t hhmm);

// Makes in_time say which rules' windows hold the time of day.
void set_time_of_day(rule_index *index, int32_t hhmm);

}  // namespace ravelo
