// The rules that apply to an application: by the index a block of 64 rules at a time, or one by
// one.
#pragma once

#include <cstdint>

#include "config/rule_index.h"
#include "config/rules.h"
#include "daemon/base/glob_struct.h"
#include "enforce/appl_texts.h"

namespace ravelo {

// Made by applying_blocks, moved on by next_applying. It owns nothing.
struct block_cursor {
    const rule_index *index;
    const rule_block *by_authid;    // from the next block on: the blocks of the rules that list the
    const rule_block *by_applname;  // application's names
    uint32_t next;                  // the next block to look at
};

// A cursor before the first block of the index, which there is. The rules and the index must stay
// as they are while it is used.
[[nodiscard]] block_cursor applying_blocks(const glob_struct *glob, const appl_texts &texts);

// The next block, in file order, with rules whose time window and lists suit the application.
// Returns those rules, bit 0 for the block's first; 0 at the end, *block then being untouched.
[[nodiscard]] uint64_t next_applying(block_cursor *cursor, const indexed_block **block);

// Whether a rule's time window and lists suit the application.
[[nodiscard]] bool applies(const glob_struct *glob, const config_restrict *rule,
                           const appl_texts &texts);

}  // namespace ravelo
