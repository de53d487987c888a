#include "config/trace_config.h"

#include <array>
#include <cstdio>

#include "config/limits.h"
#include "config/rules.h"
#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "log/report.h"

namespace ravelo {
namespace {

constexpr size_t before_limits = 2;  // start and end, which the listing shows otherwise

// Start and end, the limits and the action, in the order in which the listing and the log show
// them.
std::array<int32_t, before_limits + limit_count + 3> values_of(const config_restrict *rule) {
    std::array<int32_t, before_limits + limit_count + 3> values{rule->start_time, rule->end_time};
    for (const limit_row &limit : limits)
        values[before_limits + limit.listed] = rule->*limit.field;
    const size_t action = before_limits + limit_count;
    values[action] = rule->force;
    values[action + 1] = rule->priority;
    values[action + 2] = rule->schedule_kind;
    return values;
}

// A message's text, ready to print: names and descriptions can hold anything but must not reach the
// terminal as control characters.
const char *label(glob_struct *glob, message number, token_list tokens = {}) {
    report_text(glob, number, tokens);
    blank_controls({glob->msg_text, text_of(glob->msg_text).size()});
    return glob->msg_text;
}

// Standard output is not checked for errors: the listing is all that would be lost.
const char *label_name(glob_struct *glob, const id_node *node) {
    cut_text(glob->msg_text, text_of(node->name));
    blank_controls({glob->msg_text, text_of(glob->msg_text).size()});
    return glob->msg_text;
}

void print_names(glob_struct *glob, const id_node *list) {
    for (const id_node *node = list; node != nullptr; node = node->next)
        (void)std::fprintf(stdout, "%s ", label_name(glob, node));
}

void print_rule(glob_struct *glob, const config_restrict *rule) {
    (void)std::fprintf(stdout, "%s%s",
                       label(glob, message::rule_description, {text_of(rule->desc)}), "\n");
    (void)std::fprintf(stdout, "%s = %d ", label(glob, message::start_time_label),
                       rule->start_time);
    (void)std::fprintf(stdout, "%s = %d, ", label(glob, message::end_time_label), rule->end_time);
    const auto values = values_of(rule);
    report_text_with(glob, message::rule_values, std::span(values).subspan(before_limits));
    (void)std::fputs(glob->msg_text, stdout);
    (void)std::fprintf(stdout, "%s ", label(glob, message::authid_label));
    print_names(glob, rule->authid_list);
    (void)std::fprintf(stdout, "%s%s ", "\n", label(glob, message::applname_label));
    print_names(glob, rule->applname_list);
    (void)std::fprintf(stdout, "%s%s%s%s", "\n", label(glob, message::rule_section), "\n", "\n");
}

void print_rules(glob_struct *glob) {
    (void)std::fprintf(stdout, "%s%s%s", "\n", label(glob, message::trace_heading), "\n");
    (void)std::fprintf(stdout, "%s%s", label(glob, message::rule_section), "\n");
    for (const config_restrict *rule = glob->rules_head; rule != nullptr; rule = rule->next)
        print_rule(glob, rule);
    (void)std::fflush(stdout);
}

int32_t log_text(glob_struct *glob) {
    return write_log(glob, record_type::debug, location::none);
}

// A label with the names behind it; the first name that does not fit ends the list.
int32_t log_names(glob_struct *glob, message number, const id_node *list) {
    report_text(glob, number, {});
    for (const id_node *node = list; node != nullptr; node = node->next) {
        const std::string_view name = text_of(node->name);
        if (text_of(glob->msg_text).size() + name.size() + 2 > message_size)
            break;
        (void)append_text(glob->msg_text, name);  // just seen to fit
        (void)append_text(glob->msg_text, " ");
    }
    return log_text(glob);
}

int32_t log_rule(glob_struct *glob, const config_restrict *rule) {
    cut_text(glob->msg_text, text_of(rule->desc));
    int32_t logged = log_text(glob);
    if (logged == result::ok) {
        report_text_with(glob, message::rule_values_log, values_of(rule));
        logged = log_text(glob);
    }
    if (logged == result::ok)
        logged = log_names(glob, message::authid_label, rule->authid_list);
    if (logged == result::ok)
        logged = log_names(glob, message::applname_label, rule->applname_list);
    return logged;
}

int32_t log_rules(glob_struct *glob) {
    int32_t logged = report_event(glob, record_type::debug, message::trace_heading);
    if (logged == result::ok)
        logged = report_event(glob, record_type::debug, message::rule_section);
    const config_restrict *rule = glob->rules_head;
    for (; logged == result::ok && rule != nullptr; rule = rule->next)
        logged = log_rule(glob, rule);
    return logged;
}

}  // namespace

int32_t trace_config(glob_struct *glob) {
    if (glob->validate_mode != 0) {
        print_rules(glob);
        return result::ok;
    }
    return glob->debug_level > 4 ? log_rules(glob) : result::ok;
}

}  // namespace ravelo
