// The action priority, and the list of the agents whose priority it has set.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"
#include "enforce/action_request.h"

namespace ravelo {

// One agent whose priority the daemon has set. Created by create_niceapp, owned by nice_list;
// released at the end of a pass in which no rule confirmed it, and by give_back.
struct niceapp_struct {
    uint32_t agent_id;
    int32_t priority;  // last set
    int32_t seen;      // a rule confirmed the priority in this pass
    niceapp_struct *next;
};

// Applies a priority to the application, unless it has been given it already, with a "NICE" record.
// Results, each failure reported: 0; -6 no memory; -9 the priority could not be set; the result of
// write_log, nothing being set; or a result of the priority call itself.
[[nodiscard]] int32_t nice_appl(glob_struct *glob, const action_request &request, int32_t priority);

// Makes a record for an agent id that nice_list does not hold and links it in its place: the list
// runs from the largest id to the smallest. priority and seen are 0. The list owns it. Null after
// reporting message 1020 when there is no memory.
[[nodiscard]] niceapp_struct *create_niceapp(glob_struct *glob, uint32_t agent_id);

// The end of a pass: drops the records whose seen flag is clear, leaving the agents' priorities as
// they are, and clears the flag of the others.
void drop_unseen_niceapps(glob_struct *glob);

}  // namespace ravelo
