#include "tools/replay/summary.h"

#include <algorithm>
#include <charconv>

#include "log/messages.h"

namespace ravelo::replay {
namespace {

// Columns of an "ACCOUNT" record, behind the 36 of every record.
constexpr size_t text_column = 36;
constexpr std::string_view account_type = "ACCOUNT   ";
constexpr size_t type_column = 25;

struct column {
    size_t begin, width;
};
constexpr column authid_column{text_column, 20};
constexpr column appl_id_column{text_column + 21, 32};
constexpr column applname_column{text_column + 54, 20};
constexpr column user_column{text_column + 95, 10};
constexpr column system_column{text_column + 106, 10};

std::string text_at(std::string_view line, column where) {
    std::string_view text = line.substr(where.begin, where.width);
    text = text.substr(0, text.find_last_not_of(' ') + 1);
    return std::string(text.substr(std::min(text.find_first_not_of(' '), text.size())));
}

int64_t number_at(std::string_view line, column where) {
    const std::string text = text_at(line, where);
    int64_t value = 0;
    (void)std::from_chars(text.data(), text.data() + text.size(), value);  // else it stays 0
    return value;
}

void count_action(summary &counts, uint32_t actions::*kind, const std::vector<std::string> &tokens,
                  const std::string &line) {
    int32_t number = 0;
    (void)std::from_chars(line.data(), line.data() + line.size(), number);  // else it stays 0
    for (actions *each :
         {&counts.by_rule[number], &counts.by_application[{tokens[0], tokens[1]}]}) {
        ++(each->*kind);
        each->agents.insert(tokens[2]);
    }
}

// Text for a terminal or a file: control characters are blanked.
std::string shown(std::string_view text, size_t width) {
    std::string result(text.substr(0, width));
    for (char &c : result)
        c = static_cast<unsigned char>(c) < ' ' || c == 0x7F ? ' ' : c;
    return result;
}

bool is_equal(const actions &one, const actions &other) {
    return one.forced == other.forced && one.prioritised == other.prioritised &&
           one.scheduled == other.scheduled && one.cpu == other.cpu;
}

template <class Number>
std::string change(Number before, Number after) {
    return before == after ? std::to_string(before)
                           : std::to_string(before) + " > " + std::to_string(after);
}

}  // namespace

void count_message(summary &counts, long number, const std::vector<std::string> &tokens) {
    if (number == static_cast<long>(message::forced) && tokens.size() >= 5)
        count_action(counts, &actions::forced, tokens, tokens[4]);
    else if (number == static_cast<long>(message::priority_set) && tokens.size() >= 5)
        count_action(counts, &actions::prioritised, tokens, tokens[4]);
    else if (number == static_cast<long>(message::scheduled) && tokens.size() >= 4)
        count_action(counts, &actions::scheduled, tokens, tokens[3]);
}

void count_line(summary &counts, std::string_view line) {
    if (line.size() < system_column.begin + system_column.width ||
        line.substr(type_column, account_type.size()) != account_type)
        return;
    actions &who =
        counts.by_application[{text_at(line, applname_column), text_at(line, authid_column)}];
    who.cpu += number_at(line, user_column) + number_at(line, system_column);
    who.agents.insert(text_at(line, appl_id_column));
}

void print_summary(FILE *out, const summary &counts) {
    (void)std::fprintf(out, "\n%u snapshots governed\n\n%-6s %-44s %8s %8s %8s %8s\n",
                       counts.snapshots, "line", "rule", "forced", "reprio.", "sched.", "agents");
    for (const rule_text &rule : counts.rules) {
        const auto found = counts.by_rule.find(rule.line);
        const actions none;
        const actions &did = found != counts.by_rule.end() ? found->second : none;
        (void)std::fprintf(out, "%-6d %-44s %8u %8u %8u %8zu\n", rule.line,
                           shown(rule.text, 44).c_str(), did.forced, did.prioritised, did.scheduled,
                           did.agents.size());
    }
    (void)std::fprintf(out, "\n%-20s %-20s %8s %8s %8s %8s %10s\n", "application", "authid",
                       "forced", "reprio.", "sched.", "agents", "CPU s");
    for (const auto &[who, did] : counts.by_application)
        (void)std::fprintf(out, "%-20s %-20s %8u %8u %8u %8zu %10lld\n",
                           shown(who.first, 20).c_str(), shown(who.second, 20).c_str(), did.forced,
                           did.prioritised, did.scheduled, did.agents.size(),
                           static_cast<long long>(did.cpu));
}

void print_difference(FILE *out, const summary &first, const summary &second) {
    std::set<std::pair<std::string, std::string>> all;
    for (const summary *each : {&first, &second})
        for (const auto &[who, did] : each->by_application)
            all.insert(who);
    (void)std::fprintf(out,
                       "\nWhat differs (first > second rules)\n%-20s %-20s %14s %14s %14s %16s\n",
                       "application", "authid", "forced", "reprio.", "sched.", "CPU s");
    const actions none;
    size_t differing = 0;
    for (const auto &who : all) {
        const auto one = first.by_application.find(who);
        const auto other = second.by_application.find(who);
        const actions &before = one != first.by_application.end() ? one->second : none;
        const actions &after = other != second.by_application.end() ? other->second : none;
        if (is_equal(before, after))
            continue;
        ++differing;
        (void)std::fprintf(out, "%-20s %-20s %14s %14s %14s %16s\n", shown(who.first, 20).c_str(),
                           shown(who.second, 20).c_str(),
                           change(before.forced, after.forced).c_str(),
                           change(before.prioritised, after.prioritised).c_str(),
                           change(before.scheduled, after.scheduled).c_str(),
                           change(before.cpu, after.cpu).c_str());
    }
    if (differing == 0)
        (void)std::fputs("nothing\n", out);
}

}  // namespace ravelo::replay
