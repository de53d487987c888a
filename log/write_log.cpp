#include "log/write_log.h"

#include <cstdio>

#include "daemon/clock.h"
#include "daemon/files.h"
#include "daemon/result.h"
#include "log/report.h"
#include "log/system_log.h"
#include "log/text.h"

namespace ravelo {
namespace {

// Room for the prefix, the location and a whole text.
constexpr size_t line_size = message_size + 100;
constexpr uint32_t no_handle = UINT32_MAX;

bool is_open(const glob_struct *glob) {
    return glob->log_handle != 0 && glob->log_handle != no_handle;
}

bool copied_to_system_log(std::string_view type) {
    return type == record_type::error || type == record_type::warning;
}

// Opens the log if it is not open or no longer there, and moves to its end. A daemon that was
// killed, or a full disk, may have left half a line there: the next record gets one of its own, and
// is not written where *code says that this failed.
int32_t open_log(glob_struct *glob, int *code) {
    *code = 0;
    if (is_open(glob) && file_exists(glob->log_file_name))
        return result::ok;
    (void)close_log(glob);  // the file has vanished and what was written to it has been checked
    const int open_code = open_or_create(glob->log_file_name, &glob->log_handle);
    if (open_code != 0) {
        fail_stderr(glob, message::log_not_opened,
                    {text_of(glob->log_file_name), decimal(glob->msg_token, open_code)});
        return result::file;
    }
    const int seek_code = move_to_end(glob->log_handle);
    if (seek_code != 0) {
        fail_stderr(glob, message::log_end_not_found, {decimal(glob->msg_token, seek_code)});
        write_system_log(glob->msg_text);
        (void)close_log(glob);  // the next record opens it anew
        return result::file;
    }
    if (ends_in_partial_line(glob->log_file_name))
        *code = write_all(glob->log_handle, "\n");
    return result::ok;
}

// What a record line is made of, besides its text.
struct record_frame {
    const char *timestamp;
    std::string_view type;
    const char *prefix;  // "(location) ", or empty
};

// Formats one record line. The line has room for any frame with a whole text.
std::string_view format_line(const glob_struct *glob, const record_frame &frame, const char *text,
                             char (&line)[line_size]) {
    (void)std::snprintf(line, line_size, "%s %4d %-10.*s %s%s\n", frame.timestamp,
                        static_cast<int>(glob->node_num), static_cast<int>(frame.type.size()),
                        frame.type.data(), frame.prefix, text);
    return text_of(line);
}

int write_line(const glob_struct *glob, const record_frame &frame, const char *text) {
    char line[line_size];
    return write_all(glob->log_handle, format_line(glob, frame, text, line));
}

// The time of the record; the placeholder when there is none. Returns the clock's error code.
int take_timestamp(char (&timestamp)[timestamp_size]) {
    time_t now = 0;
    const int code = current_time(&now);
    if (code == 0)
        return show_local_time(timestamp, now);
    show_no_time(timestamp);
    return code;
}

// The log could not take the record: both the reason and the record go to standard error.
void show_lost_record(glob_struct *glob, int code, const record_frame &frame) {
    char reason[message_size];
    message_text(glob, message::log_not_written, {decimal(glob->msg_token, code)}, reason);
    blank_controls({reason, text_of(reason).size()});
    frame_on_stderr(text_of(reason));
    char line[line_size];
    write_standard_error(format_line(glob, frame, glob->msg_text, line));
}

void copy_to_system_log(const glob_struct *glob, const record_frame &frame) {
    char line[line_size];
    (void)std::snprintf(line, sizeof(line), "ravelod (%d) db: %s %.*s %s%s",
                        static_cast<int>(glob->node_num), glob->db_name,
                        static_cast<int>(frame.type.size()), frame.type.data(), frame.prefix,
                        glob->msg_text);  // line has room for all of it
    blank_controls({line, text_of(line).size()});
    write_system_log(line);
}

}  // namespace

int32_t write_log(glob_struct *glob, std::string_view type, location where) {
    blank_controls({glob->msg_text, text_of(glob->msg_text).size()});
    if (glob->validate_mode != 0) {
        char line[line_size];
        (void)std::snprintf(line, sizeof(line), "%s\n", glob->msg_text);  // fits
        write_standard_error(text_of(line));
        return result::ok;
    }
    int code = 0;
    const int32_t opened = open_log(glob, &code);
    const bool at_line_start = code == 0;
    if (opened != result::ok)
        return opened;

    char prefix[20] = "";
    if (where != location::none)
        (void)std::snprintf(prefix, sizeof(prefix), "(%d) ", static_cast<int>(where));
    char timestamp[timestamp_size];
    const int clock_code = take_timestamp(timestamp);
    const record_frame frame{timestamp, type, prefix};
    if (at_line_start)
        code = write_line(glob, frame, glob->msg_text);
    int32_t outcome = result::ok;
    if (clock_code != 0) {
        report_text(glob, message::clock_failed, {decimal(glob->msg_token, clock_code)});
        blank_controls({glob->msg_text, text_of(glob->msg_text).size()});
        // Like the record before it: the clock's failure is what counts now.
        const record_frame second{timestamp, record_type::error, ""};
        const int second_code = at_line_start ? write_line(glob, second, glob->msg_text) : code;
        code = code != 0 ? code : second_code;
        outcome = result::manager;
    } else if (code != 0) {
        show_lost_record(glob, code, frame);
        outcome = result::file;
    }
    if (code != 0)
        (void)close_log(glob);  // opening it again looks for a line that was cut off
    if (copied_to_system_log(type))
        copy_to_system_log(glob, frame);
    return outcome;
}

int close_log(glob_struct *glob) {
    if (!is_open(glob))
        return 0;
    const uint32_t handle = glob->log_handle;
    glob->log_handle = 0;
    return close_file(handle);
}

}  // namespace ravelo
