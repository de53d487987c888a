// What a replay counts, by rule and by application.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ravelo::replay {

struct actions {
    uint32_t forced = 0;
    uint32_t prioritised = 0;
    uint32_t scheduled = 0;
    int64_t cpu = 0;               // accounted seconds; none without accounting
    std::set<std::string> agents;  // application ids
};

struct rule_text {
    int32_t line;
    std::string text;  // its description, or what it selects and limits
};

// All of a night. Applications are known by name and authorization id.
struct summary {
    std::vector<rule_text> rules;
    std::map<int32_t, actions> by_rule;
    std::map<std::pair<std::string, std::string>, actions> by_application;
    uint32_t snapshots = 0;
};

// Counts a message that the core has packed, if it is one of an action.
void count_message(summary &counts, long number, const std::vector<std::string> &tokens);

// Counts a line of the governor log, if it is an "ACCOUNT" record.
void count_line(summary &counts, std::string_view line);

// Prints the counts as two tables.
void print_summary(FILE *out, const summary &counts);

// Prints the applications that fare differently under the second rules.
void print_difference(FILE *out, const summary &first, const summary &second);

}  // namespace ravelo::replay
