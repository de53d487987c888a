// The daemon's one state record.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "daemon/base/lookup_index.h"
#include "govern/interface/constants.h"
#include "govern/interface/dbm.h"
#include "govern/interface/snapshot_records.h"

namespace ravelo {

struct config_restrict;
struct acctapp_struct;
struct niceapp_struct;
struct schedapp_struct;
struct schedgrp_struct;
struct rule_index;

constexpr size_t message_size = dbm_text_width;   // a message text with its terminator
constexpr size_t file_name_size = dbm_path_room;  // a path with its terminator
constexpr size_t hash_buckets = 32;

// Chain of a 32-bit key in sched_table and acct_table: bits 11 to 15 of the product.
constexpr size_t hash_bucket(uint32_t key) {
    return ((key * 1009U) & 0xF800U) >> 11U;
}

// There is one for each governor, owned by the program's main for the life of the process and
// passed to every operation. The text buffers are scratch space of every operation: valid only
// until the next report.
struct glob_struct {
    FILE *cfg_stream;           // the open configuration file while it is read
    uint32_t cfg_handle;        // its file handle, to take its status
    uint32_t log_handle;        // governor log file; 0 not open
    snapshot_summary summary;   // filled by every snapshot call
    unsigned char *snap_buf;    // snapshot buffer; null until first allocated
    uint32_t snap_buf_size;     // bytes
    uint32_t interval;          // governing interval, seconds
    uint32_t account_interval;  // accounting interval, seconds; 0 no accounting
    int32_t cfg_line;           // current line of the configuration file
    uint32_t snap_req_size;     // bytes of snap_req
    uint32_t uow_limit_used;    // some rule has a uowtime limit
    uint32_t stmt_info_used;    // some rule has an idle limit or a schedule action
    sqlca api_sqlca;            // passed to every database manager operation
    sqlca msg_sqlca;            // the daemon's own messages
    snapshot_request *snap_req;
    char msg_text[message_size];  // text of the current message and of the next log record
    char out_line[message_size];  // scratch space for a database manager text
    char msg_token[24];           // first numeric token in decimal
    char msg_token2[24];          // second numeric token in decimal
    uint32_t last_account_time;   // snap_time of the latest accounting pass; 0 none yet
    uint32_t snap_time;           // time of the latest snapshot, seconds since the epoch
    int32_t snap_hhmm;            // its local time of day, hour × 100 + minute
    uint32_t validate_mode;       // set while a configuration is only validated
    char cfg_file_name[file_name_size];
    char db_name[dbm_longest_database + 1];      // database from the command line, upper case
    char cfg_db_name[dbm_longest_database + 1];  // database from the configuration
    char log_file_name[file_name_size];
    char stop_file_name[file_name_size];
    char status_file_name[file_name_size];
    uint16_t node_num;
    uint32_t db_available;        // the last monitor operation reached the database
    uint32_t need_size_estimate;  // the snapshot size must still be estimated
    uint64_t cfg_stats;           // status value of the configuration file (file_status)
    uint64_t cfg_stats_read;      // the value the rules were read from; 0 none read yet
    config_restrict *rules_head;  // first rule, file order
    config_restrict *rules_tail;
    std::array<acctapp_struct *, hash_buckets> acct_table;
    niceapp_struct *nice_list;
    std::array<schedapp_struct *, hash_buckets> sched_table;
    schedgrp_struct *schedgrp_list;
    char instance_name[dbm_longest_instance + 1];  // from the first command-line word
    uint16_t debug_level;                          // 0 to 5
    uint32_t status_handle;  // the claimed status file, open for its lock; 0 none
    // What finds records of the above without walking them; the tables' order is not theirs.
    lookup_index<acctapp_struct> acct_index;
    lookup_index<schedapp_struct> sched_index;
    lookup_index<niceapp_struct> nice_index;
    niceapp_struct *nice_place;  // the record that was put into nice_list last; null none
    rule_index *rules_index;     // null: the rules are to be gone through
};

// Sets every field to its start-up value: all zero, but cfg_line, db_available and
// need_size_estimate 1 and both sqlcas filled from the template.
void init_glob(glob_struct *glob);

}  // namespace ravelo
