#include "tools/replay/summary.h"

#include <algorithm>

#include "dbm/common/text.h"
#include "log/columns.h"
#include "log/messages.h"
#include "log/write_log.h"
#include "tools/common/safe_text.h"

namespace ravelo::replay {
namespace {

// The number that a text is; 0 when it is none.
template <class Number>
Number number_of(std::string_view text) {
    return dbm::number_in<Number>(text).value_or(0);
}

// A line of a table: the actions by their kind, and what they were done to.
struct tally {
    std::array<uint32_t, action_kinds> times{};
    std::set<std::string> connections{};
    int64_t cpu = 0;  // seconds
};

void add_to(tally &sum, const action &each, const action_record &done) {
    sum.times[static_cast<size_t>(each.kind)] += done.times;
    sum.connections.insert(each.application_id);
}

void print_tally(FILE *out, const tally &sum) {
    for (const uint32_t times : sum.times)
        (void)std::fprintf(out, " %8u", times);
    (void)std::fprintf(out, " %8zu", sum.connections.size());
}

void print_rules(FILE *out, const summary &counts, bool only_acting) {
    std::map<int32_t, tally> by_line;
    for (const auto &[key, done] : counts.actions)
        add_to(by_line[done.line], key.first, done);
    (void)std::fprintf(out, "\n%-6s %-44s %8s %8s %8s %8s\n", "line", "rule", "forced", "reprio.",
                       "sched.", "connect.");
    for (const rule_text &rule : counts.rules) {
        const tally &sum = by_line[rule.line];
        if (only_acting && sum.connections.empty())
            continue;
        (void)std::fprintf(out, "%-6d %-44s", rule.line, escaped(rule.text, 44).c_str());
        print_tally(out, sum);
        (void)std::fputs("\n", out);
    }
}

void print_applications(FILE *out, const summary &counts) {
    std::map<application, tally> by_application;
    for (const auto &[key, done] : counts.actions)
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
        (void)std::fprintf(out, "%-20s %-20s", escaped(who.first, 20).c_str(),
                           escaped(who.second, 20).c_str());
        print_tally(out, sum);
        (void)std::fprintf(out, " %10lld\n", static_cast<long long>(sum.cpu));
    }
}

void count_action(summary &counts, action each, const std::vector<std::string> &tokens,
                  std::string_view line) {
    const auto rule = number_of<int32_t>(line);
    each.application_id = tokens[2];
    action_record &done = counts.actions[{std::move(each), rule}];
    done.line = rule;
    done.whom = {tokens[0], tokens[1]};
    ++done.times;
}

bool has_action(const summary &counts, const action &sought) {
    const auto found = counts.actions.lower_bound({sought, 0});  // lines begin with 1
    return found != counts.actions.end() && found->first.first == sought;
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
    if (only.actions.empty() && only.cpu.empty()) {
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
        count_action(counts, {.kind = action_kind::force}, tokens, tokens[4]);
    else if (number == static_cast<long>(message::priority_set) && tokens.size() >= 5)
        count_action(counts,
                     {.kind = action_kind::priority, .priority = number_of<int32_t>(tokens[3])},
                     tokens, tokens[4]);
    else if (number == static_cast<long>(message::scheduled) && tokens.size() >= 4)
        count_action(counts, {.kind = action_kind::schedule}, tokens, tokens[3]);
}

void count_line(summary &counts, std::string_view line) {
    namespace column = account_columns;
    if (line.size() < record_columns::text + column::end ||
        text_in(line, record_columns::type) != record_type::account)
        return;
    const std::string_view text = line.substr(record_columns::text);
    counts.cpu[{std::string(text_in(text, column::applname)),
                std::string(text_in(text, column::authid))}]
              [std::string(text_in(text, column::appl_id))] +=
        number_of<int64_t>(text_in(text, column::user_cpu)) +
        number_of<int64_t>(text_in(text, column::system_cpu));
}

summary left_over(const summary &counts, const summary &other) {
    summary left{.rules = counts.rules};
    for (const auto &[key, done] : counts.actions)
        if (!has_action(other, key.first))
            left.actions.emplace(key, done);
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
