#include "dbm/agents.h"

#include <algorithm>

namespace dbm {

namespace {

bool before(const agent &a, const agent &b) {
    return a.agent_id < b.agent_id;
}

}  // namespace

void sort_agents(agent_table &agents) {
    if (!std::is_sorted(agents.begin(), agents.end(), before))
        std::stable_sort(agents.begin(), agents.end(), before);
}

const agent *find_agent(const agent_table &agents, uint32_t agent_id) {
    const auto found =
        std::lower_bound(agents.begin(), agents.end(), agent_id,
                         [](const agent &a, uint32_t id) { return a.agent_id < id; });
    return found != agents.end() && found->agent_id == agent_id ? &*found : nullptr;
}

}  // namespace dbm
