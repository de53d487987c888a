// Schedule groups and their members: the records that schedule actions keep between passes.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"
#include "enforce/action_request.h"
#include "enforce/addl_appl_info.h"

namespace ravelo {

// One scheduled application. Created by create_schedapp; owned by sched_table, and also a member of
// its group's list until it leaves; released at the end of a pass in which no rule placed it, and
// by give_back.
struct schedapp_struct {
    uint32_t agent_id;
    schedgrp_struct *group;  // the group whose member list holds the record; null once it has left
    int32_t priority;        // decided in this pass: 0, 5, 10 ranked, 20 others; -100 new
    int32_t old_priority;    // in force before this decision; -100 new
    int32_t seen;            // a rule placed the application in this pass
    int32_t l_count;         // running statements
    uint32_t min_weight;
    uint32_t age;        // seconds since the oldest statement began
    uint32_t ref_count;  // applications of this pass that refer to this agent
    schedapp_struct *next_by_weight;
    schedapp_struct *next_by_age;
    schedapp_struct *next_by_refs;
    schedapp_struct *prev;  // members of the group
    schedapp_struct *next;
    schedapp_struct *class_next;  // the class that schedule ranks
    schedapp_struct *hash_next;   // chain of sched_table
};

// One schedule group: the applications that one rule schedules. Created by create_schedgrp, owned
// by schedgrp_list, from the largest id to the smallest; released by give_back.
struct schedgrp_struct {
    int32_t id;        // line of the rule
    int32_t kind;      // the rule's schedule_kind; does not change how the group is scheduled
    int32_t count;     // applications placed in this pass
    int32_t nclasses;  // classes the members are ranked in
    schedapp_struct *members;
    schedgrp_struct *next;
};

constexpr int32_t no_priority_yet = -100;

// The record of an agent in sched_table, the newest if there are several; or null.
[[nodiscard]] schedapp_struct *find_schedapp(const glob_struct *glob, uint32_t agent_id);

// Places the application in the schedule group of the deciding rule, with a "SCHEDGRP" record when
// it joins or moves. An application without running statements is not placed; one that was placed
// earlier gets priority 0 until it has statements again.
// Results, each failure reported: 0; -6 no memory; the result of write_log.
[[nodiscard]] int32_t schedule_appl(glob_struct *glob, const action_request &request, int32_t kind,
                                    const addl_appl_info_struct *info);

// Makes a group and links it in its place. The list owns it. Null after reporting message 1044 when
// there is a group of that id, and message 1020 when there is no memory.
[[nodiscard]] schedgrp_struct *create_schedgrp(glob_struct *glob, int32_t id, int32_t kind);

// Makes a record, first in the member list of the group with that id and first in its chain of
// sched_table, which owns it. Null after reporting message 1043 when there is no such group, and
// message 1020 when there is no memory.
[[nodiscard]] schedapp_struct *create_schedapp(glob_struct *glob, uint32_t agent_id,
                                               int32_t group_id);

// Takes a record out of its group's member list, if it is in one.
void leave_group(schedapp_struct *member);

// The end of a pass: drops the records whose seen flag is clear, leaving the agents' priorities as
// they are, and clears the flag of the others.
void drop_unseen_schedapps(glob_struct *glob);

}  // namespace ravelo
