// The records exchanged with the snapshot operations: wire formats of the client library.
//
// All integers are 32-bit unsigned little-endian. Character fields are fixed-width, blank padded
// and not NUL-terminated. The records of the buffer have an alignment of 1, since the library may
// place them at any address of it.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

static_assert(std::endian::native == std::endian::little, "the wire records are little-endian");

// Snapshot request, 92 bytes: allocated once, rewritten by every governing pass.
struct snapshot_request {
    uint32_t num_objects;    // 1
    uint32_t agent_id;       // 0
    uint32_t object_type;    // 6: all applications of one database
    char object[36];         // database name, NUL padded
    char second_object[44];  // all zero
};
static_assert(sizeof(snapshot_request) == 92);
static_assert(offsetof(snapshot_request, agent_id) == 4);
static_assert(offsetof(snapshot_request, object_type) == 8);
static_assert(offsetof(snapshot_request, object) == 12);
static_assert(offsetof(snapshot_request, second_object) == 48);

// One monitor switch group, 16 bytes; dbm_monitor_switches takes an array of 7.
struct switch_group {
    uint32_t input_state;   // 1 turn on, 2 leave unchanged
    uint32_t output_state;  // the state after the call; 0 off
    char unused[8];
};
static_assert(sizeof(switch_group) == 16);
static_assert(offsetof(switch_group, output_state) == 4);

// State of one switch group at snapshot time, 16 bytes apart in the summary.
struct switch_state_entry {
    uint32_t switch_state;
    char unused[12];
};
static_assert(sizeof(switch_state_entry) == 16);

// Snapshot summary, 240 bytes: overwritten by every snapshot call.
struct snapshot_summary {
    char unused_0[36];
    uint32_t snap_time;  // seconds since the epoch
    char unused_40[8];
    switch_state_entry switches[6];
    char unused_144[84];
    uint32_t num_records;  // top-level records in the buffer
    char unused_232[8];
};
static_assert(sizeof(snapshot_summary) == 240);
static_assert(offsetof(snapshot_summary, snap_time) == 36);
static_assert(offsetof(snapshot_summary, switches) == 48);
static_assert(offsetof(snapshot_summary, num_records) == 228);

// What every record of the buffer begins with.
struct [[gnu::packed]] snapshot_header {
    uint32_t size;  // length of the record in bytes, without its sub-records
    char rec_type;
};
static_assert(sizeof(snapshot_header) == 5 && offsetof(snapshot_header, rec_type) == 4);

constexpr char appl_record_type = '3';
constexpr char l_record_type = 'L';

// Application record: top-level, rec_type '3', followed by subrec_count sub-records. A record may
// be longer than this; the fields below are the ones that are read.
struct [[gnu::packed]] appl_snapshot {
    uint32_t size;
    char rec_type;
    char unused_5[3];
    uint32_t agent_id;
    char unused_12[16];
    char applname[20];
    char appl_id[32];
    char unused_80[4];
    char authid[20];
    char unused_104[356];
    uint32_t locks_held;
    char unused_464[24];
    uint32_t ref_agent_id;  // agent id of another application this one refers to; 0 none
    char unused_492[172];
    uint32_t rows_selected;
    char unused_668[116];
    uint32_t uow_start;  // seconds since the epoch; 0 none
    char unused_788[4];
    uint32_t uow_stop;  // seconds since the epoch; 0 while the unit of work runs
    char unused_796[20];
    uint32_t conn_time;  // seconds since the epoch
    char unused_820[28];
    uint32_t idle_time;  // seconds
    char unused_852[24];
    uint32_t subrec_count;
    char unused_880[64];
    uint32_t user_cpu_s;
    uint32_t user_cpu_us;
    uint32_t system_cpu_s;
    uint32_t system_cpu_us;
    char unused_960[20];
    uint32_t rows_read;
    char unused_984[124];
    uint32_t aux_number;
};
static_assert(sizeof(appl_snapshot) == 1112 && alignof(appl_snapshot) == 1);
static_assert(offsetof(appl_snapshot, rec_type) == 4 && offsetof(appl_snapshot, agent_id) == 8);
static_assert(offsetof(appl_snapshot, applname) == 28 && sizeof(appl_snapshot::applname) == 20);
static_assert(offsetof(appl_snapshot, appl_id) == 48 && sizeof(appl_snapshot::appl_id) == 32);
static_assert(offsetof(appl_snapshot, authid) == 84 && sizeof(appl_snapshot::authid) == 20);
static_assert(offsetof(appl_snapshot, locks_held) == 460);
static_assert(offsetof(appl_snapshot, ref_agent_id) == 488);
static_assert(offsetof(appl_snapshot, rows_selected) == 664);
static_assert(offsetof(appl_snapshot, uow_start) == 784);
static_assert(offsetof(appl_snapshot, uow_stop) == 792);
static_assert(offsetof(appl_snapshot, conn_time) == 816);
static_assert(offsetof(appl_snapshot, idle_time) == 848);
static_assert(offsetof(appl_snapshot, subrec_count) == 876);
static_assert(offsetof(appl_snapshot, user_cpu_s) == 944);
static_assert(offsetof(appl_snapshot, user_cpu_us) == 948);
static_assert(offsetof(appl_snapshot, system_cpu_s) == 952);
static_assert(offsetof(appl_snapshot, system_cpu_us) == 956);
static_assert(offsetof(appl_snapshot, rows_read) == 980);
static_assert(offsetof(appl_snapshot, aux_number) == 1108);

// "L" sub-record: one running statement of the application record before it.
struct [[gnu::packed]] l_snapshot {
    uint32_t size;
    char rec_type;
    char unused_5[15];
    uint32_t sched_weight;
    char unused_24[44];
    uint32_t l_start_time;  // seconds since the epoch
};
static_assert(sizeof(l_snapshot) == 72 && alignof(l_snapshot) == 1);
static_assert(offsetof(l_snapshot, rec_type) == 4 && offsetof(l_snapshot, sched_weight) == 20);
static_assert(offsetof(l_snapshot, l_start_time) == 68);
