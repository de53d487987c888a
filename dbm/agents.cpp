#include "dbm/agents.h"

#include <algorithm>
#include <cstring>

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

bool pad_text(std::span<char> target, std::string_view text) {
    if (text.size() > target.size())
        return false;
    std::memset(target.data(), ' ', target.size());
    if (!text.empty())
        std::memcpy(target.data(), text.data(), text.size());
    return true;
}

std::string_view padded_text(std::span<const char> source) {
    size_t length = source.size();
    while (length > 0 && source[length - 1] == ' ')
        --length;
    return {source.data(), length};
}

}  // namespace dbm
