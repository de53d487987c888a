#include "tools/replay/summary.h"

#include <algorithm>

#include "dbm/fields.h"
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

// The number that a text is; 0 when it is none.
template <class Number>
Number number_of(std::string_view text) {
    Number value = 0;
    return dbm::parse_number(text, value) ? value : 0;
}

// A line of a table: the deeds by their kind, and what they were done to.
struct tally {
    std::array<uint32_t, action_kinds> times{};
    std::set<std::string> connections{};
    int64_t cpu = 0;  // seconds
};

void add_to(tally &sum, const deed &each, const deed_done &done) {
    sum.times[static_cast<size_t>(each.kind)] += done.times;
    sum.connections.insert(each.application_id);
}

// The beginning of a text, for a terminal or a file: control characters are blanked.
std::string shown(std::string_view text, size_t width) {
    std::string result(text.substr(0, width));
    for (char &c : result)
        c = static_cast<unsigned char>(c) < ' ' || c == 0x7F ? ' ' : c;
    return result;
}

void print_tally(FILE *out, const tally &sum) {
    for (const uint32_t times : sum.times)
        (void)std::fprintf(out, " %8u", times);
    (void)std::fprintf(out, " %8zu", sum.connections.size());
}

void print_rules(FILE *out, const summary &counts, bool only_acting) {
    std::map<int32_t, tally> by_line;
    for (const auto &[key, done] : counts.deeds)
        add_to(by_line[done.line], key.first, done);
    (void)std::fprintf(out, "\n%-6s %-44s %8s %8s %8s %8s\n", "line", "rule", "forced", "reprio.",
                       "sched.", "connect.");
    for (const rule_text &rule : counts.rules) {
        const tally &sum = by_line[rule.line];
        if (only_acting && sum.connections.empty())
            continue;
        (void)std::fprintf(out, "%-6d %-44s", rule.line, shown(rule.text, 44).c_str());
        print_tally(out, sum);
        (void)std::fputs("\n", out);
    }
}

void print_applications(FILE *out, const summary &counts) {
    std::map<application, tally> by_application;
    for (const auto &[key, done] : counts.deeds)
        add_to(by_application[done.whom], key.first, done);
    for (const auto &[who, used] : counts.cpu) {
        tally &sum = by_application[who];
        for (const auto &[connection, seconds] : used) {
            sum.connections.insert(connection);
            sum.cpu += seconds;
        }
    }
    (void)std::fprintf(out, "\n%-20s %-20s %8s %8s %8s %8s %10s\n", "application", "authid",
                       "forced", "reprio.", "sched.", "connect.", "CPU s");
    for (const auto &[who, sum] : by_application) {
        (void)std::fprintf(out, "%-20s %-20s", shown(who.first, 20).c_str(),
                           shown(who.second, 20).c_str());
        print_tally(out, sum);
        (void)std::fprintf(out, " %10lld\n", static_cast<long long>(sum.cpu));
    }
}

void count_deed(summary &counts, deed each, const std::vector<std::string> &tokens,
                std::string_view line) {
    const auto rule = number_of<int32_t>(line);
    each.application_id = tokens[2];
    deed_done &done = counts.deeds[{std::move(each), rule}];
    done.line = rule;
    done.whom = {tokens[0], tokens[1]};
    ++done.times;
}

bool has_deed(const summary &counts, const deed &sought) {
    const auto found = counts.deeds.lower_bound({sought, 0});  // lines begin with 1
    return found != counts.deeds.end() && found->first.first == sought;
}

int64_t cpu_of(const summary &counts, const application &who, const std::string &connection) {
    const auto found = counts.cpu.find(who);
    if (found == counts.cpu.end())
        return 0;
    const auto used = found->second.find(connection);
    return used != found->second.end() ? used->second : 0;
}

void print_only(FILE *out, const char *which, const summary &only) {
    (void)std::fprintf(out, "\nOnly the %s rules:", which);
    if (only.deeds.empty() && only.cpu.empty()) {
        (void)std::fputs(" nothing\n", out);
        return;
    }
    (void)std::fputs("\n", out);
    print_rules(out, only, true);
    print_applications(out, only);
}

}  // namespace

void count_message(summary &counts, long number, const std::vector<std::string> &tokens) {
    if (number == static_cast<long>(message::forced) && tokens.size() >= 5)
        count_deed(counts, {.kind = action_kind::force}, tokens, tokens[4]);
    else if (number == static_cast<long>(message::priority_set) && tokens.size() >= 5)
        count_deed(counts,
                   {.kind = action_kind::priority, .priority = number_of<int32_t>(tokens[3])},
                   tokens, tokens[4]);
    else if (number == static_cast<long>(message::scheduled) && tokens.size() >= 4)
        count_deed(counts, {.kind = action_kind::schedule}, tokens, tokens[3]);
}

void count_line(summary &counts, std::string_view line) {
    if (line.size() < system_column.begin + system_column.width ||
        line.substr(type_column, account_type.size()) != account_type)
        return;
    counts.cpu[{text_at(line, applname_column), text_at(line, authid_column)}]
              [text_at(line, appl_id_column)] += number_of<int64_t>(text_at(line, user_column)) +
                                                 number_of<int64_t>(text_at(line, system_column));
}

summary left_over(const summary &counts, const summary &other) {
    summary left{.rules = counts.rules};
    for (const auto &[key, done] : counts.deeds)
        if (!has_deed(other, key.first))
            left.deeds.emplace(key, done);
    for (const auto &[who, used] : counts.cpu) {
        for (const auto &[connection, seconds] : used) {
            const int64_t more = seconds - cpu_of(other, who, connection);
            if (more > 0)
                left.cpu[who][connection] = more;
        }
    }
    return left;
}

void print_summary(FILE *out, const summary &counts) {
    (void)std::fprintf(out, "\n%u snapshots governed\n", counts.snapshots);
    print_rules(out, counts, false);
    print_applications(out, counts);
}

void print_difference(FILE *out, const summary &first, const summary &second) {
    print_only(out, "first", left_over(first, second));
    print_only(out, "second", left_over(second, first));
}

}  // namespace ravelo::replay
