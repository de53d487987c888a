// The limits of a rule and its action.

#include "config/clause_reading.h"
#include "config/clauses.h"
#include "config/keyword.h"
#include "config/limits.h"
#include "daemon/base/result.h"

namespace ravelo {
namespace {

// The limit that a keyword names, unless the rule has it already; null for none.
const limit_row *find_limit(const config_restrict *rule, std::string_view keyword) {
    for (const limit_row &candidate : limits)
        if (candidate.keyword == keyword)
            return rule->*candidate.field == 0 ? &candidate : nullptr;
    return nullptr;
}

int32_t read_limit(glob_struct *glob, config_restrict *rule, const limit_row &named) {
    if (named.monitored != nullptr)
        glob->*named.monitored = 1;
    char token[token_size];
    const int32_t got = get_clause_token(glob, token, location::limit_end_of_file);
    if (got != result::ok)
        return got;
    const int32_t value = number_of(token);
    if (value != no_limit && value < 1)
        return refuse_value(glob, named.refused, message::value_refused, named.name, token);
    rule->*named.field = value;
    return result::ok;
}

int32_t read_upper(glob_struct *glob, char (&token)[token_size]) {
    const int32_t got = get_clause_token(glob, token, location::limit_end_of_file);
    if (got == result::ok)
        upper_case(token);
    return got;
}

// Reads limits up to ";" or ACTION, which is then in token, upper-cased.
int32_t read_limits(glob_struct *glob, config_restrict *rule, char (&token)[token_size]) {
    int32_t read = read_upper(glob, token);
    while (read == result::ok) {
        const limit_row *const named = find_limit(rule, token);
        if (named == nullptr)
            return refuse_word(glob, location::limit_unknown, message::keyword_unknown, token,
                               "setlimit");
        read = read_limit(glob, rule, *named);
        if (read == result::ok)
            read = read_upper(glob, token);
        if (read == result::ok && (is_semicolon(token) || std::string_view(token) == "ACTION"))
            return result::ok;
    }
    return read;
}

int32_t read_priority(glob_struct *glob, config_restrict *rule) {
    char token[token_size];
    const int32_t got = get_clause_token(glob, token, location::limit_end_of_file);
    if (got != result::ok)
        return got;
    const int32_t priority = number_of(token);
    if (priority < dbm_best_priority || priority > dbm_worst_priority)
        return refuse_value(glob, location::action_priority, message::value_refused, "priority",
                            token);
    rule->priority = priority;
    return result::ok;
}

// Reads the ";" that ends a rule; token_pending: it has been read into token already.
int32_t end_rule(glob_struct *glob, char (&token)[token_size], bool token_pending) {
    if (!token_pending) {
        const int32_t got = get_clause_token(glob, token, location::limit_end_of_file);
        if (got != result::ok)
            return got;
    }
    if (is_semicolon(token))
        return result::ok;
    return refuse_value(glob, location::action_end, message::semicolon_missing, "setlimit", token);
}

int32_t read_schedule(glob_struct *glob, config_restrict *rule) {
    char token[token_size];
    glob->stmt_info_used = 1;
    const int32_t got = read_upper(glob, token);
    if (got != result::ok)
        return got;
    const bool classes = std::string_view(token) == "CLASS";
    rule->schedule_kind = classes ? schedule_in_classes : schedule_plainly;
    return end_rule(glob, token, !classes);
}

int32_t read_action(glob_struct *glob, config_restrict *rule) {
    char token[token_size];
    int32_t read = read_upper(glob, token);
    if (read != result::ok)
        return read;
    const std::string_view action = token;
    if (action == "SCHEDULE")
        return read_schedule(glob, rule);
    if (action == "FORCE")
        rule->force = 1;
    else if (action == "PRIORITY")
        read = read_priority(glob, rule);
    else
        read =
            refuse_word(glob, location::action_unknown, message::keyword_unknown, token, "action");
    return read == result::ok ? end_rule(glob, token, false) : read;
}

}  // namespace

int32_t get_setlimit(glob_struct *glob, config_restrict *rule) {
    char token[token_size];
    const int32_t read = read_limits(glob, rule, token);
    if (read != result::ok)
        return read;
    if (is_semicolon(token)) {
        rule->priority = default_priority;
        return result::ok;
    }
    return read_action(glob, rule);
}

}  // namespace ravelo
