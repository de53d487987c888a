// The rules that apply to an application, one after the other.
#pragma once

#include <cstdint>

#include "config/rule_index.h"
#include "config/rules.h"
#include "daemon/glob_struct.h"
#include "enforce/appl_texts.h"

namespace ravelo {

// Made by applying_rules, moved on by next_rule. It owns nothing.
struct rule_cursor {
    const glob_struct *glob;
    const appl_texts *texts;
    const config_restrict *next;    // without an index: the next rule to look at
    const rule_block *by_authid;    // with one: blocks of the rules that list the application's
    const rule_block *by_applname;  // names, from the next block on
    uint32_t next_block;            // the next block to look at
    uint64_t left;                  // applying rules of the block before it, still to be given
};

// A cursor before the first rule. The rules and the texts must stay as they are while it is used.
[[nodiscard]] rule_cursor applying_rules(const glob_struct *glob, const appl_texts *texts);

// The next rule, in file order, whose time window and lists suit the application; null at the end.
[[nodiscard]] const config_restrict *next_rule(rule_cursor *cursor);

}  // namespace ravelo
