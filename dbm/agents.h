// The agents of a snapshot: who they are, found by agent id.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace dbm {

// What identifies an application; part of every application a manager reports. Text fields are
// blank padded as in the wire records.
struct agent {
    uint32_t agent_id = 0;
    char applname[20];
    char appl_id[32];
    char authid[20];
    uint64_t incarnation = 0;  // the manager's own mark that tells reused agent ids apart
};

// Sorted by agent id. Where an id stands twice, the first one reported counts.
using agent_table = std::vector<agent>;

// Brings agents in the order that find_agent needs. May throw bad_alloc.
void sort_agents(agent_table &agents);

// The agent of that id, null when there is none.
[[nodiscard]] const agent *find_agent(const agent_table &agents, uint32_t agent_id);

// Puts text into a blank-padded field. False when it does not fit; the field is untouched then.
[[nodiscard]] bool pad_text(std::span<char> target, std::string_view text);

// The text of a blank-padded field.
[[nodiscard]] std::string_view padded_text(std::span<const char> source);

}  // namespace dbm
