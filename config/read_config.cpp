#include "config/read_config.h"

#include "config/clause_reading.h"
#include "config/clauses.h"
#include "config/get_token.h"
#include "config/keyword.h"
#include "config/rule_index.h"
#include "config/rules.h"
#include "daemon/base/files.h"
#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "log/report.h"

namespace ravelo {
namespace {

constexpr uint32_t longest_interval = 65535;  // seconds
constexpr uint32_t longest_account = 1440;    // minutes
constexpr int32_t default_debug_level = 2;    // of a debug statement without a usable value
constexpr int32_t highest_debug_level = 5;

int32_t refuse_repeated(glob_struct *glob, location where, std::string_view keyword) {
    report_error(glob, where, message::statement_repeated,
                 {keyword, decimal(glob->msg_token, glob->cfg_line)});
    return result::config;
}

// Reads the ";" that ends a global statement.
int32_t end_statement(glob_struct *glob, location where, std::string_view keyword) {
    char token[token_size];
    const int32_t read = get_token(glob, token);
    if (read != result::ok)
        return read;
    if (!is_semicolon(token))
        return refuse_value(glob, where, message::semicolon_missing, keyword, token);
    return result::ok;
}

int32_t read_interval(glob_struct *glob) {
    if (glob->interval != 0)
        return refuse_repeated(glob, location::config_interval_repeated, "interval");
    char token[token_size];
    const int32_t read = get_token(glob, token);
    if (read != result::ok)
        return read;
    glob->interval = static_cast<uint32_t>(number_of(token));
    if (glob->interval < 1 || glob->interval > longest_interval)
        return refuse_value(glob, location::config_interval_range, message::value_refused,
                            "interval", token);
    return end_statement(glob, location::config_value_end, "interval");
}

int32_t read_debug(glob_struct *glob) {
    char token[token_size];
    const int32_t read = get_token(glob, token);
    if (read != result::ok)
        return read;
    glob->debug_level = default_debug_level;
    if (is_semicolon(token))
        return result::ok;
    const int32_t level = number_of(token);
    if (level >= 0 && level <= highest_debug_level)
        glob->debug_level = static_cast<uint16_t>(level);
    return end_statement(glob, location::config_value_end, "debug");
}

int32_t read_dbname(glob_struct *glob) {
    if (glob->cfg_db_name[0] != '\0')
        return refuse_repeated(glob, location::config_dbname_repeated, "dbname");
    char token[token_size];
    const int32_t read = get_token(glob, token);
    if (read != result::ok)
        return read;
    upper_case(token);
    if (text_of(token).size() >= sizeof(glob->cfg_db_name))
        return refuse_value(glob, location::config_dbname_long, message::name_long, "dbname",
                            token);
    if (text_of(token) != text_of(glob->db_name)) {
        report_error(glob, location::config_dbname_other, message::other_database,
                     {token, text_of(glob->db_name)});
        return result::config;
    }
    cut_text(glob->cfg_db_name, token);
    return end_statement(glob, location::config_dbname_end, "dbname");
}

int32_t read_account(glob_struct *glob, bool *account_seen) {
    if (*account_seen)
        return refuse_repeated(glob, location::config_account_repeated, "account");
    char token[token_size];
    const int32_t read = get_token(glob, token);
    if (read != result::ok)
        return read;
    const auto minutes = static_cast<uint32_t>(number_of(token));
    if (minutes < 1 || minutes > longest_account)
        return refuse_value(glob, location::config_account_range, message::value_refused, "account",
                            token);
    glob->account_interval = minutes * 60;
    *account_seen = true;
    return end_statement(glob, location::config_account_end, "account");
}

int32_t read_rule(glob_struct *glob, const clause_reader &first) {
    config_restrict *const rule = create_config_restrict(glob);
    return rule != nullptr ? first.read(glob, rule) : result::memory;
}

// Reads one statement, whose upper-cased first token is given.
int32_t read_statement(glob_struct *glob, const char *keyword, bool *account_seen) {
    const std::string_view word = keyword;
    if (word == "INTERVAL")
        return read_interval(glob);
    if (word == "DEBUG")
        return read_debug(glob);
    if (word == "DBNAME")
        return read_dbname(glob);
    if (word == "ACCOUNT")
        return read_account(glob, account_seen);
    for (const clause_reader &clause : clause_order)
        if (word == clause.keyword)
            return read_rule(glob, clause);
    report_text_with(glob, message::unknown_statement, {decimal(glob->msg_token, glob->cfg_line)},
                     keyword);
    report_error_text(glob, location::config_unknown_keyword);
    return result::config;
}

int32_t fail_content(glob_struct *glob, location where, message number) {
    report_error(glob, where, number);
    return result::config;
}

// What the file must hold as a whole.
int32_t check_whole(glob_struct *glob, bool account_seen) {
    if (glob->interval == 0)
        glob->interval = default_interval;
    if (glob->cfg_db_name[0] == '\0')
        return fail_content(glob, location::config_no_dbname, message::dbname_missing);
    if (!account_seen) {
        if (glob->rules_head == nullptr)
            return fail_content(glob, location::config_nothing_to_do, message::nothing_to_do);
        glob->account_interval = 0;
    }
    if (glob->account_interval != 0 && glob->account_interval < glob->interval)
        return fail_content(glob, location::config_account_short, message::account_too_short);
    return result::ok;
}

// Reads all statements of the open stream. A result of 1: end of file inside a global statement.
int32_t read_statements(glob_struct *glob) {
    bool account_seen = false;
    for (;;) {
        char token[token_size];
        int32_t read = get_token(glob, token);
        if (read == result::end_of_file)
            return check_whole(glob, account_seen);
        if (read == result::ok) {
            upper_case(token);
            read = read_statement(glob, token, &account_seen);
        }
        if (read != result::ok)
            return read;
    }
}

// Keeps the status of the file that was read.
int32_t keep_status(glob_struct *glob) {
    const int code = read_config_status(glob);
    if (code == 0)
        return result::ok;
    report_error(glob, location::config_status, message::config_status_failed,
                 {text_of(glob->cfg_file_name), decimal(glob->msg_token, code)});
    return result::file;
}

void start_read(glob_struct *glob) {
    glob->cfg_line = 1;
    glob->cfg_db_name[0] = '\0';
    glob->interval = 0;
    glob->uow_limit_used = 0;
    glob->stmt_info_used = 0;
    release_rule_index(glob);
    glob->rules_head = nullptr;
    glob->rules_tail = nullptr;
}

}  // namespace

int read_config_status(glob_struct *glob) {
    const int code = stream_handle(glob->cfg_stream, &glob->cfg_handle);
    return code == 0 ? file_status(glob->cfg_handle, &glob->cfg_stats) : code;
}

int32_t read_config(glob_struct *glob) {
    start_read(glob);
    const int open_code = open_stream(glob->cfg_file_name, &glob->cfg_stream);
    if (open_code != 0) {
        report_error(glob, location::config_open, message::config_not_opened,
                     {text_of(glob->cfg_file_name), decimal(glob->msg_token, open_code)});
        return result::file;
    }
    int32_t outcome = read_statements(glob);
    if (outcome == result::end_of_file)
        outcome = fail_content(glob, location::config_end_of_file, message::unexpected_end);
    if (outcome == result::ok)
        outcome = keep_status(glob);
    const int close_code = close_stream(glob->cfg_stream);
    glob->cfg_stream = nullptr;
    if (close_code != 0) {
        report_error(glob, location::config_close, message::config_not_closed,
                     {decimal(glob->msg_token, outcome)});
        if (outcome == result::ok)
            outcome = result::file;
    }
    if (outcome == result::ok)
        index_rules(glob);
    return outcome;
}

}  // namespace ravelo
