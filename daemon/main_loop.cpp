#include "daemon/main_loop.h"

#include <cstdio>

#include "config/read_config.h"
#include "config/trace_config.h"
#include "daemon/base/files.h"
#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "daemon/clean_up.h"
#include "daemon/status_file.h"
#include "daemon/stop_signal.h"
#include "govern/govern.h"
#include "log/report.h"

namespace ravelo {
namespace {

int32_t fail_config_file(glob_struct *glob, location where, message number, int code) {
    report_error(glob, where, number,
                 {text_of(glob->cfg_file_name), decimal(glob->msg_token, code)});
    return result::file;
}

// Reads the configuration file's status, which tells whether it has changed.
int32_t read_status(glob_struct *glob) {
    const int open_code = open_stream(glob->cfg_file_name, &glob->cfg_stream);
    if (open_code != 0)
        return fail_config_file(glob, location::main_open_config, message::config_not_opened,
                                open_code);
    const int code = read_config_status(glob);
    const int close_code = close_stream(glob->cfg_stream);
    glob->cfg_stream = nullptr;
    if (code != 0)
        return fail_config_file(glob, location::main_config_status, message::config_status_failed,
                                code);
    if (close_code != 0)
        report_error(glob, location::main_close_config, message::config_not_closed,
                     {decimal(glob->msg_token, result::ok)});
    return result::ok;
}

// Reads the configuration file once.
int32_t reload_once(glob_struct *glob) {
    if (glob->cfg_stats_read != 0) {
        const int32_t cleaned = clean_up(glob, clean_up_mode::at_reread);
        if (cleaned != result::ok)
            return cleaned;
    }
    glob->cfg_stats_read = glob->cfg_stats;
    const int32_t logged = report_event(glob, record_type::readcfg, message::config_read,
                                        {text_of(glob->cfg_file_name)});
    return logged == result::ok ? read_config(glob) : logged;
}

// Reads the configuration file when it is not the one the rules were read from, and again while it
// changes under the reading.
int32_t reload_changed(glob_struct *glob) {
    int32_t outcome = read_status(glob);
    while (outcome == result::ok && glob->cfg_stats_read != glob->cfg_stats)
        outcome = reload_once(glob);
    return outcome;
}

int32_t report_debug_level(glob_struct *glob, uint16_t *prev_debug_level) {
    if (glob->debug_level == *prev_debug_level)
        return result::ok;
    const int32_t logged = report_event(glob, record_type::readcfg, message::debug_changed,
                                        {decimal(glob->msg_token, *prev_debug_level),
                                         decimal(glob->msg_token2, glob->debug_level)});
    if (logged == result::ok)
        *prev_debug_level = glob->debug_level;
    return logged;
}

int32_t report_sleep(glob_struct *glob, message number) {
    if (glob->debug_level == 0)
        return result::ok;
    return report_event(glob, record_type::debug, number,
                        {unsigned_decimal(glob->msg_token, glob->interval)});
}

int32_t sleep_interval(glob_struct *glob) {
    const int32_t logged = report_sleep(glob, message::before_sleep);
    if (logged != result::ok)
        return logged;
    sleep_milliseconds(glob, uint64_t{glob->interval} * 1000);
    return report_sleep(glob, message::after_sleep);
}

// One cycle, after the stop request was looked for.
int32_t run_cycle(glob_struct *glob, uint16_t *prev_debug_level) {
    int32_t outcome = reload_changed(glob);
    if (outcome == result::ok)
        outcome = report_debug_level(glob, prev_debug_level);
    if (outcome == result::ok)
        outcome = trace_config(glob);  // which does nothing below level 5
    if (outcome == result::ok)
        outcome = govern(glob);
    return outcome == result::ok ? sleep_interval(glob) : outcome;
}

// Leaves the loop as stopped, with a "STOP" record.
int32_t end_as_stopped(glob_struct *glob, int32_t outcome) {
    const int32_t logged = report_stop(glob);
    return outcome == result::ok ? logged : outcome;
}

}  // namespace

int32_t report_stop(glob_struct *glob) {
    (void)std::snprintf(glob->msg_text, message_size, "Database = %s.",
                        glob->db_name);  // always fits
    return write_log(glob, record_type::stop, location::none) == result::ok ? result::ok
                                                                            : result::file;
}

int32_t main_loop(glob_struct *glob, bool *stop_requested) {
    uint16_t prev_debug_level = 0;
    for (;;) {
        deliver_held_signals(glob);
        int32_t outcome = test_stop_request(glob, stop_requested);
        if (*stop_requested)
            return end_as_stopped(glob, outcome);
        if (outcome == result::ok)
            outcome = run_cycle(glob, &prev_debug_level);
        if (outcome != result::ok)
            return outcome;
    }
}

}  // namespace ravelo
