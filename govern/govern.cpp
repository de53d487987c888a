#include "govern/govern.h"

#include <algorithm>
#include <type_traits>

#include "daemon/base/clock.h"
#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "enforce/check_appl.h"
#include "enforce/schedule.h"
#include "govern/get_snapshot.h"
#include "govern/snapshot_walk.h"
#include "govern/sweep.h"
#include "log/report.h"

namespace ravelo {
namespace {

constexpr uint32_t microseconds = 1000000;

// Without the local time of day it is not known which rules apply, so the pass must not go on.
int32_t set_snapshot_time(glob_struct *glob) {
    tm calendar{};
    const int code = local_time(static_cast<time_t>(glob->summary.snap_time), &calendar);
    if (code != 0) {
        report_error(glob, location::govern_clock, message::clock_failed,
                     {decimal(glob->msg_token, code)});
        return result::manager;
    }
    glob->snap_time = glob->summary.snap_time;
    glob->snap_hhmm = calendar.tm_hour * 100 + calendar.tm_min;
    return result::ok;
}

// Whether this is an accounting pass; if so, the next one is due an accounting interval later.
bool begin_accounting_pass(glob_struct *glob) {
    if (glob->account_interval == 0 ||
        glob->snap_time - glob->last_account_time < glob->account_interval)
        return false;
    glob->last_account_time = glob->snap_time;
    return true;
}

int32_t log_snapshot_figures(glob_struct *glob) {
    constexpr size_t groups = std::extent_v<decltype(snapshot_summary::switches)>;
    char states[groups][12];
    std::string_view tokens[groups];
    for (size_t i = 0; i < groups; ++i)
        tokens[i] = unsigned_decimal(states[i], glob->summary.switches[i].switch_state);
    const int32_t logged =
        report_event(glob, record_type::debug, message::switch_states,
                     {tokens[0], tokens[1], tokens[2], tokens[3], tokens[4], tokens[5]});
    if (logged != result::ok)
        return logged;
    return report_event(
        glob, record_type::debug, message::record_count,
        {decimal(glob->msg_token, static_cast<int32_t>(glob->summary.num_records))});
}

uint32_t cpu_seconds(const appl_snapshot *record) {
    const uint32_t parts = record->user_cpu_us + record->system_cpu_us;
    return record->user_cpu_s + record->system_cpu_s + parts / microseconds;
}

// Steps over the record's sub-records and takes its figures. Results: false when one is malformed.
bool derive_figures(const glob_struct *glob, const appl_snapshot *record, snapshot_bytes &bytes,
                    addl_appl_info_struct *info) {
    *info = addl_appl_info_struct{};
    info->cpu_secs = cpu_seconds(record);
    const bool halved = info->cpu_secs > glob->interval;
    const uint32_t sub_records = record->subrec_count;
    for (uint32_t i = 0; i < sub_records; ++i) {
        const l_snapshot *statement = nullptr;
        if (!next_sub_record(bytes, &statement))
            return false;
        if (statement == nullptr)
            continue;
        const uint32_t weight = halved ? statement->sched_weight >> 1U : statement->sched_weight;
        const uint32_t start = statement->l_start_time;
        const bool first = info->l_count++ == 0;
        info->min_weight = first ? weight : std::min(info->min_weight, weight);
        info->oldest_start = first ? start : std::min(info->oldest_start, start);
    }
    return true;
}

int32_t log_application_figures(glob_struct *glob, const appl_snapshot *record,
                                const addl_appl_info_struct &info) {
    char t[6][12];
    if (glob->debug_level >= 3) {
        const int32_t logged = report_event(
            glob, record_type::debug, message::application_figures,
            {unsigned_decimal(t[0], record->agent_id), unsigned_decimal(t[1], record->subrec_count),
             unsigned_decimal(t[2], info.min_weight), unsigned_decimal(t[3], info.oldest_start),
             unsigned_decimal(t[4], info.cpu_secs), unsigned_decimal(t[5], info.l_count)});
        if (logged != result::ok)
            return logged;
    }
    if (glob->debug_level < 4)
        return result::ok;
    return report_event(
        glob, record_type::debug, message::application_figures,
        {unsigned_decimal(t[0], record->user_cpu_s), unsigned_decimal(t[1], record->system_cpu_s),
         unsigned_decimal(t[2], record->user_cpu_us),
         unsigned_decimal(t[3], record->system_cpu_us)});
}

int32_t fail_malformed(glob_struct *glob) {
    report_error(glob, location::govern_malformed, message::snapshot_malformed);
    return result::monitor;
}

// Results: as govern's. *debug_failed: a failure was that of a DEBUG record.
int32_t evaluate_applications(glob_struct *glob, int32_t account_due, bool *debug_failed) {
    snapshot_bytes bytes{glob->snap_buf, glob->snap_buf != nullptr ? glob->snap_buf_size : 0};
    const uint32_t records = glob->summary.num_records;
    for (uint32_t i = 0; i < records; ++i) {
        const appl_snapshot *record = nullptr;
        addl_appl_info_struct info{};
        if (!next_application(bytes, &record) || !derive_figures(glob, record, bytes, &info))
            return fail_malformed(glob);
        const int32_t logged = log_application_figures(glob, record, info);
        *debug_failed = logged != result::ok;
        if (*debug_failed)
            return logged;
        const int32_t checked = check_appl(glob, record, &info, account_due);
        if (checked != result::ok)
            return checked;
    }
    return schedule(glob);
}

// The same for the whole snapshot.
int32_t evaluate_snapshot(glob_struct *glob, int32_t account_due, bool *debug_failed) {
    if (glob->debug_level >= 2) {
        const int32_t logged = log_snapshot_figures(glob);
        *debug_failed = logged != result::ok;
        if (*debug_failed)
            return logged;
    }
    return evaluate_applications(glob, account_due, debug_failed);
}

}  // namespace

int32_t govern(glob_struct *glob) {
    fill_snapshot_request(glob);
    const int32_t taken = get_snapshot(glob);
    // Whether this record could be written is not looked at: the snapshot's result decides.
    if (taken != result::ok && glob->debug_level >= 1)
        (void)report_event(glob, record_type::debug, message::snapshot_result,
                           {decimal(glob->msg_token, taken)});
    if (taken == result::no_snapshot) {
        sweep(glob, true);
        return result::ok;
    }
    if (taken != result::ok)
        return taken;
    const int32_t timed = set_snapshot_time(glob);
    if (timed != result::ok)
        return timed;
    const bool accounting = begin_accounting_pass(glob);
    bool debug_failed = false;
    const int32_t evaluated = evaluate_snapshot(glob, accounting ? 1 : 0, &debug_failed);
    if (evaluated == result::ok || debug_failed)
        sweep(glob, accounting);
    return evaluated;
}

}  // namespace ravelo
