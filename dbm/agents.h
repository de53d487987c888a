// The agents of a snapshot: who they are, found by agent id.
#pragma once

#include <cstdint>
#include <vector>

#include "dbm/common/application.h"

namespace dbm {

// Sorted by agent id. Where an id stands twice, the first one reported counts.
using agent_table = std::vector<agent>;

// Brings agents in the order that find_agent needs. May throw bad_alloc.
void sort_agents(agent_table &agents);

// The agent of that id, null when there is none.
[[nodiscard]] const agent *find_agent(const agent_table &agents, uint32_t agent_id);

}  // namespace dbm
