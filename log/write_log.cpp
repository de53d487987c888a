#include "log/write_log.h"

#include <cstdio>

#include "daemon/base/clock.h"
#include "daemon/base/files.h"
#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "log/columns.h"
#include "log/report.h"
#include "log/system_log.h"

namespace ravelo {
namespace {

// Room for the prefix, the location and a whole text.
constexpr size_t line_size = message_size + 100;

bool is_open(const glob_struct *glob) {
    return glob->log_handle != 0;
}

bool copied_to_system_log(std::string_view type) {
    return type == record_type::error || type == record_type::warning;
}

// Opens the log and moves to its end. Results: 0; -2, reported on standard error.
int32_t open_log(glob_struct *glob) {
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
    return result::ok;
}

// A daemon that was killed, or a full disk, may have left half a line at the log's end: the next
// record gets one of its own. Results: 0, or the system's error code, the log's end being no place
// for a record then.
int end_partial_line(const glob_struct *glob) {
    return ends_in_partial_line(glob->log_file_name) ? write_all(glob->log_handle, "\n") : 0;
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
    (void)std::snprintf(line, line_size, "%s %*d %-*.*s %s%s\n", frame.timestamp,
                        print_width(record_columns::node), static_cast<int>(glob->node_num),
                        print_width(record_columns::type), static_cast<int>(frame.type.size()),
                        frame.type.data(), frame.prefix, text);
    return text_of(line);
}

int write_line(const glob_struct *glob, const record_frame &frame, const char *text) {
    char line[line_size];
    return write_all(glob->log_handle, format_line(glob, frame, text, line));
}

// The time of the record; the placeholder when there is none. Returns the clock's error code.
int show_current_time(char (&timestamp)[timestamp_size]) {
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
    int line_code = 0;  // not 0: no record can be written
    if (!is_open(glob) || !file_exists(glob->log_file_name)) {
        const int32_t opened = open_log(glob);
        if (opened != result::ok)
            return opened;
        line_code = end_partial_line(glob);
    }

    char prefix[20] = "";
    if (where != location::none)
        (void)std::snprintf(prefix, sizeof(prefix), "(%d) ", static_cast<int>(where));
    char timestamp[timestamp_size];
    const int clock_code = show_current_time(timestamp);
    const record_frame frame{timestamp, type, prefix};
    const int record_code = line_code != 0 ? line_code : write_line(glob, frame, glob->msg_text);
    int second_code = 0;
    int32_t outcome = result::ok;
    if (clock_code != 0) {
        report_text(glob, message::clock_failed, {decimal(glob->msg_token, clock_code)});
        blank_controls({glob->msg_text, text_of(glob->msg_text).size()});
        // Like the record before it: the clock's failure is what counts now.
        const record_frame second{timestamp, record_type::error, ""};
        second_code = line_code != 0 ? line_code : write_line(glob, second, glob->msg_text);
        outcome = result::manager;
    } else if (record_code != 0) {
        show_lost_record(glob, record_code, frame);
        outcome = result::file;
    }
    if (record_code != 0 || second_code != 0)
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
