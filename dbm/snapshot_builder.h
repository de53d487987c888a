// Lays the wire records of a snapshot into the caller's buffer.
//
// A manager appends every application, each followed at once by its sub-records. What does not fit
// is only counted, so that the same walk answers how large a buffer must be; nothing is ever
// written past the buffer, and no copy of the snapshot is made.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "dbm/agents.h"
#include "dbm/common/application.h"
#include "govern/interface/snapshot_records.h"

namespace dbm {

struct snapshot_builder {
    std::span<char> out;     // the caller's buffer; empty: only count
    uint64_t needed = 0;     // bytes of all records so far
    uint32_t records = 0;    // applications so far
    agent_table agents;      // of the applications so far, as they were reported
    uint32_t snap_time = 0;  // time of the snapshot, set by the manager
    std::array<uint32_t, dbm_summary_groups> switches = {};  // states of the groups, set by it too
    std::optional<uint32_t> claimed_records;                 // stands in for records in the summary
};

// Appends an application that subrec_count sub-records will follow. May throw bad_alloc.
void add_application(snapshot_builder &builder, const application &reported, uint32_t subrec_count,
                     const record_claims &claims = {});

// Appends a running statement of the application added last.
void add_statement(snapshot_builder &builder, uint32_t sched_weight, uint32_t start_time,
                   const record_claims &claims = {});

// Appends a sub-record of another kind.
void add_other(snapshot_builder &builder, const record_claims &claims);

// Whether there is anything to report, be it only a false count.
[[nodiscard]] bool has_content(const snapshot_builder &builder);

// Fills the summary of a snapshot that fitted.
void fill_summary(const snapshot_builder &builder, snapshot_summary &summary);

}  // namespace dbm
