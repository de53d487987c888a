// The clauses that say which applications a rule governs, and when.
#include <cstdlib>
#include <span>

#include "config/clause_reading.h"
#include "config/clauses.h"
#include "config/keyword.h"
#include "daemon/base/result.h"
#include "daemon/base/text.h"

namespace ravelo {
namespace {

// One clause's place in the fixed order, and how its errors are reported.
struct clause {
    std::string_view keyword;  // as messages name it
    location next_refused;     // an unexpected keyword after the clause
    location end_of_file;
};

constexpr clause desc_clause{"desc", location::desc_next, location::desc_end_of_file};
constexpr clause time_clause{"time", location::time_next, location::time_end_of_file};
constexpr clause authid_clause{"authid", location::authid_next, location::authid_end_of_file};
constexpr clause applname_clause{"applname", location::applname_next,
                                 location::applname_end_of_file};

// Hands over to the reader of the clause that an upper-cased keyword begins; allowed are the ones
// that may stand behind the clause just read.
int32_t hand_over(glob_struct *glob, config_restrict *rule, const clause &read,
                  std::span<const clause_reader> allowed, const char *keyword) {
    for (const clause_reader &next : allowed)
        if (next.keyword == keyword)
            return next.read(glob, rule);
    return refuse_word(glob, read.next_refused, message::clause_unexpected, keyword, read.keyword);
}

// Reads the next keyword and hands over.
int32_t read_next(glob_struct *glob, config_restrict *rule, const clause &read,
                  std::span<const clause_reader> allowed) {
    char token[token_size];
    const int32_t got = get_clause_token(glob, token, read.end_of_file);
    if (got != result::ok)
        return got;
    upper_case(token);
    return hand_over(glob, rule, read, allowed, token);
}

constexpr int32_t no_time_of_day = -1;

// "h:m" as hour × 100 + minute; characters after the minutes are ignored.
int32_t time_of_day(const char *token) {
    char *end = nullptr;
    const long hour = std::strtol(token, &end, 10);
    if (end == token || *end != ':')
        return no_time_of_day;
    const char *const minutes = end + 1;
    const long minute = std::strtol(minutes, &end, 10);
    if (end == minutes || hour < 0 || hour > 23 || minute < 0 || minute > 59)
        return no_time_of_day;
    return static_cast<int32_t>(hour * 100 + minute);
}

int32_t read_time(glob_struct *glob, location refused, int32_t *hhmm) {
    char token[token_size];
    const int32_t got = get_clause_token(glob, token, time_clause.end_of_file);
    if (got != result::ok)
        return got;
    *hhmm = time_of_day(token);
    if (*hhmm == no_time_of_day)
        return refuse_value(glob, refused, message::value_refused, time_clause.keyword, token);
    return result::ok;
}

// How the names of one kind of list are read and refused.
struct name_list {
    const clause &of;
    id_node *config_restrict::*list;
    bool upper_case;  // and then a name that is too long is refused, not cut
    location missing;
    location allocate;
};

// Reads a name into the list whose last link is given.
int32_t read_name(glob_struct *glob, id_node ***end, const name_list &names) {
    char token[token_size];
    const int32_t got = get_clause_token(glob, token, names.of.end_of_file);
    if (got != result::ok)
        return got;
    if (names.upper_case)
        upper_case(token);
    if (is_semicolon(token) || is_comma(token))
        return refuse_word(glob, names.missing, message::name_missing, token, names.of.keyword);
    if (names.upper_case && text_of(token).size() > longest_name)
        return refuse_value(glob, location::authid_long, message::name_long, names.of.keyword,
                            token);
    const int code = append_name(end, token);
    if (code == 0)
        return result::ok;
    report_error(glob, names.allocate, message::out_of_memory, {decimal(glob->msg_token, code)});
    return result::config;
}

// Reads names up to the token that is not a comma, and hands over on that one.
int32_t read_names(glob_struct *glob, config_restrict *rule, const name_list &names,
                   std::span<const clause_reader> allowed) {
    id_node **end = &(rule->*names.list);
    for (;;) {
        const int32_t read = read_name(glob, &end, names);
        if (read != result::ok)
            return read;
        char token[token_size];
        const int32_t got = get_clause_token(glob, token, names.of.end_of_file);
        if (got != result::ok)
            return got;
        upper_case(token);
        if (!is_comma(token))
            return hand_over(glob, rule, names.of, allowed, token);
    }
}

}  // namespace

int32_t get_desc(glob_struct *glob, config_restrict *rule) {
    char token[token_size];
    const int32_t got = get_clause_token(glob, token, desc_clause.end_of_file);
    if (got != result::ok)
        return got;
    cut_text(rule->desc, token);
    return read_next(glob, rule, desc_clause, std::span(clause_order).subspan(1));
}

int32_t get_time(glob_struct *glob, config_restrict *rule) {
    int32_t start = 0;
    int32_t end = 0;
    int32_t read = read_time(glob, location::time_first, &start);
    if (read == result::ok)
        read = read_time(glob, location::time_second, &end);
    if (read != result::ok)
        return read;
    rule->time_set = 1;
    rule->start_time = start;
    rule->end_time = end;
    if (start == end) {
        report_error(glob, location::time_equal, message::window_empty,
                     {decimal(glob->msg_token, glob->cfg_line)});
        return result::config;
    }
    return read_next(glob, rule, time_clause, std::span(clause_order).subspan(2));
}

int32_t get_authid(glob_struct *glob, config_restrict *rule) {
    constexpr name_list names{authid_clause, &config_restrict::authid_list, true,
                              location::authid_missing, location::authid_allocate};
    return read_names(glob, rule, names, std::span(clause_order).subspan(3));
}

int32_t get_applname(glob_struct *glob, config_restrict *rule) {
    constexpr name_list names{applname_clause, &config_restrict::applname_list, false,
                              location::applname_missing, location::applname_allocate};
    return read_names(glob, rule, names, std::span(clause_order).subspan(4));
}

}  // namespace ravelo
