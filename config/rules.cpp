#include "config/rules.h"

#include "config/rule_index.h"
#include "daemon/base/memory.h"
#include "daemon/base/text.h"
#include "log/report.h"

namespace ravelo {

config_restrict *create_config_restrict(glob_struct *glob) {
    config_restrict *rule = nullptr;
    const int code = allocate_record(&rule);
    if (code != 0) {
        report_error(glob, location::rule_allocate, message::out_of_memory,
                     {decimal(glob->msg_token, code)});
        return nullptr;
    }
    release_rule_index(glob);
    rule->line = glob->cfg_line;
    if (glob->rules_head == nullptr)
        glob->rules_head = rule;
    else
        glob->rules_tail->next = rule;
    glob->rules_tail = rule;
    return rule;
}

int append_name(id_node ***end, const char *name) {
    id_node *node = nullptr;
    const int code = allocate_record(&node);
    if (code != 0)
        return code;
    cut_text({node->name, longest_name + 1}, name);
    **end = node;
    *end = &node->next;
    return 0;
}

void release_rules(glob_struct *glob) {
    release_rule_index(glob);
    for (config_restrict *rule = glob->rules_head; rule != nullptr; rule = rule->next) {
        release_list(&rule->authid_list, &id_node::next);
        release_list(&rule->applname_list, &id_node::next);
    }
    release_list(&glob->rules_head, &config_restrict::next);
    glob->rules_tail = nullptr;
}

}  // namespace ravelo
