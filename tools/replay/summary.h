// What a replay counts, by rule and by application.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ravelo::replay {

enum class action_kind : uint8_t { force, priority, schedule };
constexpr size_t action_kinds = 3;

// An action on one connection of an application. The same one taken again is the same action.
struct action {
    action_kind kind = action_kind::force;
    int32_t priority = 0;  // of the action priority
    std::string application_id{};
    // NOLINTNEXTLINE(modernize-use-nullptr): the linter takes what is compared for a pointer
    auto operator<=>(const action &) const = default;
};

using application = std::pair<std::string, std::string>;  // its name and authorization id

// Who did it to whom.
struct action_record {
    int32_t line = 0;  // of the rule
    application whom{};
    uint32_t times = 0;
};

struct rule_text {
    int32_t line;
    std::string text;  // its description, or whom it is about and what it limits
};

// All of one replay.
struct summary {
    std::vector<rule_text> rules{};  // in file order
    std::map<std::pair<action, int32_t>, action_record>
        actions{};                                                // by action and line of the rule
    std::map<application, std::map<std::string, int64_t>> cpu{};  // accounted, by application id
    uint32_t snapshots = 0;
};

// Counts a message that the core has packed, if it is one of an action. May throw bad_alloc.
void count_message(summary &counts, long number, const std::vector<std::string> &tokens);

// Counts a line of the governor log, if it is an "ACCOUNT" record. May throw bad_alloc.
void count_line(summary &counts, std::string_view line);

// What of counts the other one doesn't have: actions that it never did, and the CPU time by which
// it accounts less of a connection. May throw bad_alloc.
[[nodiscard]] summary left_over(const summary &counts, const summary &other);

// Prints the counts as two tables, of all rules and of every application that was met.
void print_summary(FILE *out, const summary &counts);

// Prints what only the first and only the second rules do.
void print_difference(FILE *out, const summary &first, const summary &second);

}  // namespace ravelo::replay
