// The rules of the configuration, as its reader leaves them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "daemon/base/glob_struct.h"

namespace ravelo {

constexpr size_t longest_name = dbm_authid_size;  // also of an application name
static_assert(dbm_applname_size == dbm_authid_size);
constexpr int32_t default_priority = 10;
constexpr int32_t no_limit = -1;  // limit fields: 0 not given, -1 explicitly none, 1 or more

// One authorization id or application name of a rule. Created by the clause readers, owned by the
// rule's list.
struct id_node {
    char name[24];  // filled up with zeros
    id_node *next;
};

// Values of schedule_kind.
constexpr int32_t not_scheduled = 0;
constexpr int32_t schedule_in_classes = 1;  // action schedule class
constexpr int32_t schedule_plainly = 2;     // action schedule

// One rule, allocated zero-filled by create_config_restrict, owned by the rule list, released by
// release_rules.
struct config_restrict {
    int32_t time_set;        // a TIME clause was given
    int32_t start_time;      // hour × 100 + minute, local time
    int32_t end_time;        // smaller than start_time for a window across midnight; never equal
    id_node *authid_list;    // null: any authorization id
    id_node *applname_list;  // null: any application
    int32_t cpu_limit;       // seconds
    int32_t locks_limit;
    int32_t rowssel_limit;
    int32_t rowsread_limit;
    int32_t idle_limit;     // seconds
    int32_t uowtime_limit;  // seconds
    int32_t force;          // 1: action force
    int32_t priority;       // of the action priority; 10 without an action clause
    int32_t schedule_kind;
    int32_t line;  // of the rule's first keyword
    char desc[256];
    config_restrict *next;
};

// Appends a new rule, its line being cfg_line, to the rule list. Returns it; the list owns it. Null
// after reporting message 1020 when there is no memory.
[[nodiscard]] config_restrict *create_config_restrict(glob_struct *glob);

// Allocates a name and appends it to a rule's list, which owns it. *end: the list's last link,
// which is null; then that of the new name. name: at most 20 characters, a longer one is cut.
// Results: 0, or the allocation's error code, not reported and nothing changed.
[[nodiscard]] int append_name(id_node ***end, const char *name);

// Releases all rules with their lists and empties the rule list.
void release_rules(glob_struct *glob);

}  // namespace ravelo
