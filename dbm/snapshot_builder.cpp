#include "dbm/snapshot_builder.h"

#include <algorithm>
#include <cstring>

namespace dbm {

namespace {

constexpr uint32_t longest_record = 65536;

template <size_t Size>
void copy_field(char (&to)[Size], const char (&from)[Size]) {
    std::memcpy(to, from, Size);
}

// Appends a record's bytes. What lies behind the last record reads as a record of size 0 where the
// buffer has room for that, so that a count that is too high is met with the same bytes every time.
template <typename Record>
void append(snapshot_builder &builder, Record record, char rec_type, const record_claims &claims) {
    record.size = claims.size.value_or(uint32_t{sizeof record});
    record.rec_type = claims.rec_type.value_or(rec_type);
    const uint32_t length = record.size > sizeof record && record.size <= longest_record
                                ? record.size
                                : uint32_t{sizeof record};
    const uint64_t room = builder.out.size();
    if (builder.needed + length <= room) {
        const auto target = builder.out.subspan(static_cast<size_t>(builder.needed));
        std::memcpy(target.data(), &record, sizeof record);
        const size_t zero_end = std::min(target.size(), length + sizeof(snapshot_header));
        std::memset(target.data() + sizeof record, 0, zero_end - sizeof record);
    }
    builder.needed += length;
}

}  // namespace

void add_application(snapshot_builder &builder, const application &reported, uint32_t subrec_count,
                     const record_claims &claims) {
    builder.agents.push_back(reported.who);
    appl_snapshot record = {};
    record.agent_id = reported.who.agent_id;
    copy_field(record.applname, reported.who.applname);
    copy_field(record.appl_id, reported.who.appl_id);
    copy_field(record.authid, reported.who.authid);
    record.locks_held = reported.locks_held;
    record.ref_agent_id = reported.ref_agent_id;
    record.rows_selected = reported.rows_selected;
    record.uow_start = reported.uow_start;
    record.uow_stop = reported.uow_stop;
    record.conn_time = reported.conn_time;
    record.idle_time = reported.idle_time;
    record.subrec_count = subrec_count;
    record.user_cpu_s = reported.user_cpu_s;
    record.user_cpu_us = reported.user_cpu_us;
    record.system_cpu_s = reported.system_cpu_s;
    record.system_cpu_us = reported.system_cpu_us;
    record.rows_read = reported.rows_read;
    record.aux_number = reported.aux_number;
    append(builder, record, appl_record_type, claims);
    ++builder.records;
}

void add_statement(snapshot_builder &builder, uint32_t sched_weight, uint32_t start_time,
                   const record_claims &claims) {
    l_snapshot record = {};
    record.sched_weight = sched_weight;
    record.l_start_time = start_time;
    append(builder, record, l_record_type, claims);
}

void add_other(snapshot_builder &builder, const record_claims &claims) {
    append(builder, snapshot_header{}, '\0', claims);
}

bool has_content(const snapshot_builder &builder) {
    return builder.records != 0 || builder.claimed_records.value_or(0) != 0;
}

void fill_summary(const snapshot_builder &builder, snapshot_summary &summary) {
    summary = snapshot_summary{};
    summary.snap_time = builder.snap_time;
    for (size_t i = 0; i < dbm_summary_groups; ++i)
        summary.switches[i].switch_state = builder.switches[i];
    summary.num_records = builder.claimed_records.value_or(builder.records);
}

}  // namespace dbm
