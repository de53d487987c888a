// The records exchanged with the snapshot operations: wire formats of the client library.
//
// All integers are 32-bit unsigned little-endian. Character fields are fixed-width, blank padded
// and not NUL-terminated. The records of the buffer have an alignment of 1, since the library may
// place them at any address of it. Bytes that are called unused are not read; a library clears
// them.
#pragma once

#include <assert.h>  // NOLINT(modernize-deprecated-headers): this is also C
#include <stddef.h>  // NOLINT(modernize-deprecated-headers)
#include <stdint.h>  // NOLINT(modernize-deprecated-headers)

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the wire records are little-endian");

// NOLINTBEGIN(modernize-use-using): the way that C has
typedef struct snapshot_request snapshot_request;
typedef struct switch_group switch_group;
typedef struct switch_state_entry switch_state_entry;
typedef struct snapshot_summary snapshot_summary;
typedef struct snapshot_header snapshot_header;
typedef struct appl_snapshot appl_snapshot;
typedef struct l_snapshot l_snapshot;
// NOLINTEND(modernize-use-using)

// The numbers of the records below, and the values of their fields.
enum {
    // snapshot_request
    dbm_request_objects = 1,   // num_objects: the one database
    dbm_all_applications = 6,  // object_type: all applications of one database

    // switch_group and snapshot_summary: groups in a call, groups that a summary has, and the two
    // that stand for something a daemon needs.
    dbm_switch_groups = 7,
    dbm_summary_groups = 6,
    dbm_uow_group = 0,        // units of work: uow_start and uow_stop
    dbm_statement_group = 1,  // statements: idle_time and the "L" sub-records

    // input_state and output_state. Any other output_state than off is on.
    dbm_switch_off = 0,
    dbm_switch_on = 1,
    dbm_switch_unchanged = 2,

    // rec_type
    appl_record_type = '3',
    l_record_type = 'L',

    // Bytes of the names that applications have.
    dbm_applname_size = 20,
    dbm_appl_id_size = 32,
    dbm_authid_size = 20
};

// Snapshot request, 92 bytes: allocated once, rewritten by every governing pass.
struct snapshot_request {
    uint32_t num_objects;    // dbm_request_objects
    uint32_t agent_id;       // 0
    uint32_t object_type;    // dbm_all_applications
    char object[36];         // database name in upper case, NUL padded
    char second_object[44];  // all zero
};
static_assert(sizeof(snapshot_request) == 92, "layout");
static_assert(offsetof(snapshot_request, agent_id) == 4, "layout");
static_assert(offsetof(snapshot_request, object_type) == 8, "layout");
static_assert(offsetof(snapshot_request, object) == 12, "layout");
static_assert(offsetof(snapshot_request, second_object) == 48, "layout");

// One monitor switch group, 16 bytes; dbm_monitor_switches takes an array of dbm_switch_groups.
struct switch_group {
    uint32_t input_state;   // dbm_switch_on or dbm_switch_unchanged
    uint32_t output_state;  // the state after the call; dbm_switch_off, else on
    char unused[8];
};
static_assert(sizeof(switch_group) == 16, "layout");
static_assert(offsetof(switch_group, output_state) == 4, "layout");

// State of one switch group at snapshot time, 16 bytes apart in the summary.
struct switch_state_entry {
    uint32_t switch_state;
    char unused[12];
};
static_assert(sizeof(switch_state_entry) == 16, "layout");

// Snapshot summary, 240 bytes: overwritten by every snapshot call.
struct snapshot_summary {
    char unused_0[36];
    uint32_t snap_time;  // seconds since the epoch; rules go by its local time
    char unused_40[8];
    switch_state_entry switches[dbm_summary_groups];
    char unused_144[84];
    uint32_t num_records;  // application records in the buffer
    char unused_232[8];
};
static_assert(sizeof(snapshot_summary) == 240, "layout");
static_assert(offsetof(snapshot_summary, snap_time) == 36, "layout");
static_assert(offsetof(snapshot_summary, switches) == 48, "layout");
static_assert(offsetof(snapshot_summary, num_records) == 228, "layout");

// The buffer holds num_records application records, beginning at its first byte. Each is followed
// at once by its sub-records, and these by the next application record. Every record lies in the
// buffer whole and says its own length; a daemon that meets one that is shorter than the fields
// read of it, or that runs past the buffer, ends.

// What every record of the buffer begins with.
struct __attribute__((packed)) snapshot_header {
    uint32_t size;  // length of the record in bytes, without its sub-records
    char rec_type;
};
static_assert(sizeof(snapshot_header) == 5 && offsetof(snapshot_header, rec_type) == 4, "layout");

// Application record: rec_type appl_record_type, followed by subrec_count sub-records. A record may
// be longer than this, and of another length than the next; the fields below are the ones that are
// read. Figures that only ever grow are those of the application since it connected. A figure that
// is not known is 0, which breaches no limit.
struct __attribute__((packed)) appl_snapshot {
    uint32_t size;
    char rec_type;
    char unused_5[3];
    uint32_t agent_id;  // what dbm_force_application and dbm_set_agent_priority are told
    char unused_12[16];
    char applname[dbm_applname_size];
    char appl_id[dbm_appl_id_size];  // tells this connection from every other, also an earlier one
    char unused_80[4];
    char authid[dbm_authid_size];
    char unused_104[356];
    uint32_t locks_held;
    char unused_464[24];
    uint32_t ref_agent_id;  // agent id of an application that this one waits for; 0 none
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
    uint32_t user_cpu_s;    // whole seconds
    uint32_t user_cpu_us;   // and microseconds beyond them
    uint32_t system_cpu_s;  // likewise
    uint32_t system_cpu_us;
    char unused_960[20];
    uint32_t rows_read;
    char unused_984[124];
    uint32_t aux_number;  // a number of the library's own, shown when the application is forced
};
static_assert(sizeof(appl_snapshot) == 1112, "layout");
static_assert(offsetof(appl_snapshot, rec_type) == 4 && offsetof(appl_snapshot, agent_id) == 8,
              "layout");
static_assert(offsetof(appl_snapshot, applname) == 28, "layout");
static_assert(offsetof(appl_snapshot, appl_id) == 48, "layout");
static_assert(offsetof(appl_snapshot, authid) == 84, "layout");
static_assert(offsetof(appl_snapshot, locks_held) == 460, "layout");
static_assert(offsetof(appl_snapshot, ref_agent_id) == 488, "layout");
static_assert(offsetof(appl_snapshot, rows_selected) == 664, "layout");
static_assert(offsetof(appl_snapshot, uow_start) == 784, "layout");
static_assert(offsetof(appl_snapshot, uow_stop) == 792, "layout");
static_assert(offsetof(appl_snapshot, conn_time) == 816, "layout");
static_assert(offsetof(appl_snapshot, idle_time) == 848, "layout");
static_assert(offsetof(appl_snapshot, subrec_count) == 876, "layout");
static_assert(offsetof(appl_snapshot, user_cpu_s) == 944, "layout");
static_assert(offsetof(appl_snapshot, user_cpu_us) == 948, "layout");
static_assert(offsetof(appl_snapshot, system_cpu_s) == 952, "layout");
static_assert(offsetof(appl_snapshot, system_cpu_us) == 956, "layout");
static_assert(offsetof(appl_snapshot, rows_read) == 980, "layout");
static_assert(offsetof(appl_snapshot, aux_number) == 1108, "layout");

// "L" sub-record, rec_type l_record_type: one running statement of the application record before
// it. Sub-records of other types may stand among these and are stepped over.
struct __attribute__((packed)) l_snapshot {
    uint32_t size;
    char rec_type;
    char unused_5[15];
    uint32_t sched_weight;  // how costly the statement is; of two, the smaller one goes first
    char unused_24[44];
    uint32_t l_start_time;  // seconds since the epoch
};
static_assert(sizeof(l_snapshot) == 72, "layout");
static_assert(offsetof(l_snapshot, rec_type) == 4 && offsetof(l_snapshot, sched_weight) == 20,
              "layout");
static_assert(offsetof(l_snapshot, l_start_time) == 68, "layout");
