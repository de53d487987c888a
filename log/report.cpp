#include "log/report.h"

#include <limits>

#include "daemon/base/files.h"
#include "daemon/base/text.h"
#include "govern/interface/constants.h"
#include "log/format_check.h"

namespace ravelo {
namespace {

void fetch_text(char (&buffer)[message_size], const char *catalog, const sqlca *ca) {
    buffer[0] = '\0';  // a call that gives nothing must not leave the text before it standing
    // Whatever it gave is the text.
    (void)dbm_message_text(buffer, message_size, dbm_no_line_breaks, catalog, ca);
    buffer[message_size - 1] = '\0';
}

// Stands in for a catalog text that can't be used as a format.
void show_number(glob_struct *glob, message number) {
    (void)std::snprintf(glob->msg_text, message_size, "Message %ld:", static_cast<long>(number));
}

void show_value(glob_struct *glob, std::string_view value) {
    (void)append_text(glob->msg_text, " ");    // cut at the text's end,
    (void)append_text(glob->msg_text, value);  // like any message text
}

}  // namespace

int prep_sqlca(sqlca *ca, message number, const char *component,
               std::span<const std::string_view> tokens) {
    const size_t count = std::min<size_t>(tokens.size(), dbm_most_tokens);
    // The library takes the address of token 0 and finds token i at i entries below it.
    std::array<message_token, dbm_most_tokens> table{};
    for (size_t i = 0; i < count; ++i) {
        constexpr size_t longest = std::numeric_limits<uint16_t>::max();
        message_token &entry = table[dbm_most_tokens - 1 - i];
        entry.length = static_cast<uint16_t>(std::min(tokens[i].size(), longest));
        entry.text = tokens[i].data();
    }
    if (component != nullptr)
        std::memcpy(ca->sqlerrp, component, sizeof(ca->sqlerrp));
    std::memset(ca->sqlstate, ' ', sizeof(ca->sqlstate));
    return dbm_prepare_sqlca(ca, static_cast<short>(count), static_cast<long>(number),
                             &table.back());
}

void message_text(glob_struct *glob, message number, token_list tokens,
                  char (&buffer)[message_size]) {
    (void)prep_sqlca(&glob->msg_sqlca, number, nullptr, {tokens.begin(), tokens.size()});
    fetch_text(buffer, dbm_daemon_catalog, &glob->msg_sqlca);
}

void report_text(glob_struct *glob, message number, token_list tokens) {
    message_text(glob, number, tokens, glob->msg_text);
}

void report_text_with(glob_struct *glob, message number, token_list tokens, const char *argument) {
    char format[message_size];
    message_text(glob, number, tokens, format);
    const bool usable = has_conversions(text_of(format), conversion::text, 1);
    if (usable && format_with_text(glob->msg_text, format, argument))
        return;
    show_number(glob, number);
    for (const std::string_view token : tokens)
        show_value(glob, token);
    show_value(glob, argument);
}

void report_text_with(glob_struct *glob, message number, std::span<const int32_t> values) {
    char format[message_size];
    message_text(glob, number, {}, format);
    const bool usable = has_conversions(text_of(format), conversion::integer, values.size());
    if (usable && format_with_integers(glob->msg_text, format, values))
        return;
    show_number(glob, number);
    for (const int32_t value : values)
        show_value(glob, decimal(glob->msg_token, value));
}

int32_t report_event(glob_struct *glob, std::string_view type, message number, token_list tokens) {
    report_text(glob, number, tokens);
    return write_log(glob, type, location::none);
}

int32_t report_warning(glob_struct *glob, location where, message number, token_list tokens) {
    report_text(glob, number, tokens);
    return write_log(glob, record_type::warning, where);
}

void report_error(glob_struct *glob, location where, message number, token_list tokens) {
    report_text(glob, number, tokens);
    report_error_text(glob, where);
}

void report_error_text(glob_struct *glob, location where) {
    (void)write_log(glob, record_type::error,
                    where);  // the error itself is what the caller returns
}

void report_manager_error(glob_struct *glob, location where, std::string_view request) {
    glob->out_line[0] = '\0';
    const int length = dbm_message_text(glob->out_line, message_size, dbm_no_line_breaks,
                                        dbm_manager_catalog, &glob->api_sqlca);
    glob->out_line[message_size - 1] = '\0';
    if (length <= 0) {
        report_error(glob, where, message::request_failed,
                     {"DBMSGTXT", decimal(glob->msg_token, glob->api_sqlca.sqlcode)});
        return;
    }
    cut_text(glob->msg_text, request);
    (void)append_text(glob->msg_text, ": ");                     // a request's name is short
    (void)append_text(glob->msg_text, text_of(glob->out_line));  // cut like any message text
    report_error_text(glob, where);
}

void fail_stderr(glob_struct *glob, message number, token_list tokens) {
    report_text(glob, number, tokens);
    blank_controls({glob->msg_text, text_of(glob->msg_text).size()});
    frame_on_stderr(text_of(glob->msg_text));
}

void frame_on_stderr(std::string_view text) {
    // In one piece, so that the lines of two processes don't mix.
    char line[message_size + 20];
    (void)std::snprintf(line, sizeof(line), "\nravelod: %.*s\n", static_cast<int>(text.size()),
                        text.data());  // fits a message text
    write_standard_error(text_of(line));
}

}  // namespace ravelo
