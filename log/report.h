// The one way in which events and failures become messages: a number and tokens are packed into
// msg_sqlca, turned into text from the daemon's catalog and written as a record.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

#include "daemon/base/glob_struct.h"
#include "log/locations.h"
#include "log/messages.h"
#include "log/write_log.h"

namespace ravelo {

using token_list = std::initializer_list<std::string_view>;

// Packs a message number and at most dbm_most_tokens tokens into *ca (a surplus is not passed on).
// component: 8 bytes for sqlerrp, or null to keep what is there. sqlstate becomes 5 blanks.
// Returns the result of dbm_prepare_sqlca; no caller depends on it.
int prep_sqlca(sqlca *ca, message number, const char *component,
               std::span<const std::string_view> tokens);

// The text of a message into buffer: at most 399 bytes, empty when there is none, as the library
// gives it. What is written of it to the log is one line.
void message_text(glob_struct *glob, message number, token_list tokens,
                  char (&buffer)[message_size]);

// The text of a message into msg_text.
void report_text(glob_struct *glob, message number, token_list tokens);

// The same for a message whose catalog text is a printf format with one "%s", which receives
// argument. A format with anything else is replaced by a text that shows number and tokens.
void report_text_with(glob_struct *glob, message number, token_list tokens, const char *argument);

// The same for a message without tokens whose text is a format with as many integer conversions as
// there are values.
void report_text_with(glob_struct *glob, message number, std::span<const int32_t> values);

// Writes an event record (no location). Results: those of write_log.
[[nodiscard]] int32_t report_event(glob_struct *glob, std::string_view type, message number,
                                   token_list tokens = {});

// Writes a WARNING record. Results: those of write_log.
[[nodiscard]] int32_t report_warning(glob_struct *glob, location where, message number,
                                     token_list tokens);

// Writes an ERROR record. That it could not be written changes nothing about the failure reported,
// so there is no result; write_log has then said on standard error what it could.
void report_error(glob_struct *glob, location where, message number, token_list tokens = {});

// Writes an ERROR record for msg_text as it stands.
void report_error_text(glob_struct *glob, location where);

// Writes an ERROR record for a database manager request that failed with api_sqlca: the request's
// name and the manager's own text, or message 1053 with the SQL code where there is no text.
void report_manager_error(glob_struct *glob, location where, std::string_view request);

// Reports a failure on standard error, where there is no log to write it to.
void fail_stderr(glob_struct *glob, message number, token_list tokens = {});

// Writes text to standard error in the frame of fail_stderr: newline, "ravelod: ", text, newline.
void frame_on_stderr(std::string_view text);

}  // namespace ravelo
