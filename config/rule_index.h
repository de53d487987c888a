// The rules by the names they list and by their limits: which rules a name belongs to, and which a
// figure breaches, is found without going through them. Rules are numbered from 0 in file order and
// taken in blocks of 64, one bit for each.
#pragma once

#include <cstdint>

#include "config/limits.h"
#include "config/rules.h"
#include "daemon/base/glob_struct.h"
#include "daemon/base/lookup_index.h"

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

// The rules of a block by one of their limits, the lowest first.
struct limit_thresholds {
    uint32_t count;                      // different limits
    uint32_t limits[rules_in_block];     // in ascending order
    uint64_t rules[rules_in_block + 1];  // rules[n]: those with one of the first n
};

// What is known of 64 rules whatever the name. Owned by the index.
struct indexed_block {
    const config_restrict *rules[rules_in_block];  // null behind the last rule
    uint64_t any_authid;                           // rules without a list of authorization ids
    uint64_t any_applname;                         // and of application names
    uint64_t in_time;                              // rules whose time window holds in_time_hhmm
    uint32_t limited;                              // limits that some rule sets, bit 0 the first
    uint32_t lifted;                               // limits that some rule has -1 for
    uint64_t lifting[limit_count];                 // those rules
    limit_thresholds thresholds[limit_count];
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

// Builds rules_index from the rule list, which must not change while there is an index. There is
// none without memory: the rules are gone through then.
void index_rules(glob_struct *glob);

// Releases the index, if there is one; the rules stay.
void release_rule_index(glob_struct *glob);

// The blocks of the rules that list a name, in ascending order, or null for none. name: filled up
// with zeros.
[[nodiscard]] const rule_block *blocks_of_name(const lookup_index<listed_name> &index,
                                               const char (&name)[sizeof(id_node::name)]);

// The rules of a block that a figure breaches the limit of. limit: below limit_count.
[[nodiscard]] inline uint64_t breaching_rules(const indexed_block &block, size_t limit,
                                              int32_t figure) {
    const limit_thresholds &thresholds = block.thresholds[limit];
    const uint32_t unbreached = unbreached_from(limits[limit], figure);
    if (unbreached <= thresholds.limits[0])  // most figures breach nothing
        return 0;
    uint32_t breached = 0;
    for (uint32_t i = 0; i < thresholds.count; ++i)
        breached += thresholds.limits[i] < unbreached ? 1 : 0;
    return thresholds.rules[breached];
}

// Whether a rule's time window holds a local time of day, hour × 100 + minute.
[[nodiscard]] bool in_time(const config_restrict *rule, int32_t hhmm);

// Makes in_time say which rules' windows hold the time of day.
void set_time_of_day(rule_index *index, int32_t hhmm);

}  // namespace ravelo
