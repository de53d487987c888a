// Accounting records: the CPU time that every application used.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"
#include "enforce/action_request.h"

namespace ravelo {

// What is kept about one connected application for accounting. Created by create_acctapp, owned by
// acct_table in the chain of its connect time; released after its final record at the end of
// an accounting pass, and at the daemon's end.
struct acctapp_struct {
    char appl_id[sizeof(appl_snapshot::appl_id) + 1];
    int32_t seen;  // a pass has seen the application since the last accounting pass ended
    char authid[sizeof(appl_snapshot::authid) + 1];
    char applname[sizeof(appl_snapshot::applname) + 1];
    uint32_t conn_time;  // seconds since the epoch
    uint32_t user_cpu;   // whole CPU seconds when last seen
    uint32_t system_cpu;
    uint32_t user_cpu_logged;  // user_cpu at the last accounting record; 0 before the first
    uint32_t system_cpu_logged;
    acctapp_struct *next;
};

// Keeps the application's accounting figures up to date and, when account_due is 1 and it has used
// CPU time since its last accounting record, writes an "ACCOUNT" record.
// Results, each failure reported: 0; -6 no memory; the result of write_log, the figures then still
// counting as not logged.
[[nodiscard]] int32_t account_appl(glob_struct *glob, const appl_texts &texts,
                                   const appl_snapshot *record, int32_t account_due);

// Makes a record and puts it at the head of its chain of acct_table, which owns it. Null after
// reporting message 1020 when there is no memory.
[[nodiscard]] acctapp_struct *create_acctapp(glob_struct *glob, const appl_texts &texts,
                                             uint32_t conn_time);

// The end of an accounting pass: drops the records whose seen flag is clear, each after its final
// accounting record, whether or not that could be written, and clears the flag of the others.
void close_accounts(glob_struct *glob);

// Releases all records, without final accounting records.
void release_accounts(glob_struct *glob);

// Writes the "ACCOUNT" record of what the application used since its last one.
// Results: those of write_log.
[[nodiscard]] int32_t write_account_record(glob_struct *glob, const acctapp_struct *entry);

}  // namespace ravelo
