#include "tools/replay/rule_texts.h"

#include <cstdio>
#include <string>

#include "config/limits.h"

namespace ravelo::replay {
namespace {

void append_names(std::string &text, const char *clause, const id_node *list) {
    for (const id_node *name = list; name != nullptr; name = name->next)
        text += (name == list ? std::string(clause) : std::string(",")) + name->name;
    text += list != nullptr ? " " : "";
}

void append_window(std::string &text, const config_restrict &rule) {
    char window[40];
    (void)std::snprintf(window, sizeof(window), "time %02d:%02d %02d:%02d ", rule.start_time / 100,
                        rule.start_time % 100, rule.end_time / 100, rule.end_time % 100);  // fits
    text += rule.time_set != 0 ? window : "";
}

std::string action_of(const config_restrict &rule) {
    if (rule.force != 0)
        return "force";
    return rule.schedule_kind != not_scheduled ? "schedule"
                                               : "priority " + std::to_string(rule.priority);
}

std::string describe(const config_restrict &rule) {
    if (rule.desc[0] != '\0')
        return rule.desc;
    std::string text;
    append_window(text, rule);
    append_names(text, "authid ", rule.authid_list);
    append_names(text, "applname ", rule.applname_list);
    for (const limit_row &limit : limits)
        if (rule.*limit.field > 0)
            text += std::string(limit.name) + " " + std::to_string(rule.*limit.field) + " ";
    return text + action_of(rule);
}

}  // namespace

std::vector<rule_text> rule_texts(const config_restrict *first) {
    std::vector<rule_text> texts;
    for (const config_restrict *rule = first; rule != nullptr; rule = rule->next) {
        if (!texts.empty() && texts.back().line == rule->line)
            texts.back().text += "; " + describe(*rule);  // the log can't tell them apart
        else
            texts.push_back({rule->line, describe(*rule)});
    }
    return texts;
}

}  // namespace ravelo::replay
