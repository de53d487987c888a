// The codes that the library answers with.
#pragma once

#include <cstdint>

#include "dbm/common/outcome.h"
#include "govern/interface/sql_codes.h"

// SQL codes: negative errors, positive warnings. Each has a text in dbm_manager_catalog; the
// comment names its tokens. dbm/common/outcome.h has those that a recording is answered with.
namespace dbm::sql {

constexpr int32_t agent_already_gone = dbm_sql_already_forced;  // agent id
constexpr int32_t buffer_too_small = dbm_sql_buffer_too_small;  // bytes needed, bytes given
constexpr int32_t journal_not_written = 1911;                   // file, error code

// What an attachment lacks, and what a database manager refused.
constexpr int32_t rows_unknown = 1920;       // the manager's own text
constexpr int32_t sessions_hidden = 1921;    // role
constexpr int32_t force_forbidden = 1922;    // role
constexpr int32_t nice_forbidden = 1923;     // none
constexpr int32_t group_forbidden = 1924;    // user id of the server
constexpr int32_t force_refused = 1925;      // agent id, application id, the manager's own text
constexpr int32_t priority_refused = 1926;   // agent id, application id, error code
constexpr int32_t priorities_unkept = 1927;  // file, error code
constexpr int32_t kept_unread = 1928;        // file, number of lines
constexpr int32_t kept_unusable = 1929;      // file, error code

constexpr int32_t not_attached = -1024;        // operation
constexpr int32_t not_authorized = -1092;      // instance directory
constexpr int32_t node_unknown = -1097;        // node, number of nodes
constexpr int32_t agent_gone = dbm_sql_gone;   // agent id
constexpr int32_t out_of_memory = -1900;       // operation
constexpr int32_t bad_call = -1901;            // operation, argument
constexpr int32_t bad_setting = -1903;         // file, line, word, what is wrong
constexpr int32_t other_instance = -1904;      // name in instance.conf, name given
constexpr int32_t manager_unknown = -1905;     // manager, instance.conf, managers there are
constexpr int32_t snapshot_too_large = -1907;  // database, bytes
constexpr int32_t instance_unusable = -1908;   // instance directory, error code
constexpr int32_t tmp_unusable = -1909;        // tmp directory, error code
constexpr int32_t already_attached = -1910;    // instance directory
constexpr int32_t connect_failed = dbm_sql_not_connected;  // the manager's own text
constexpr int32_t request_failed = -1931;                  // the manager's own text
constexpr int32_t server_elsewhere = -1932;                // process id
constexpr int32_t priorities_left = -1933;                 // number of agents, file
constexpr int32_t manager_absent = -1934;                  // manager, what it needs
constexpr int32_t reader_attached = -1939;                 // operation

}  // namespace dbm::sql

// Results of operations that answer with a plain code: a system error number, one of these, or
// 9007, not_a_file, which is where files are opened.
namespace dbm::code {

constexpr int tmp_open_to_all = 9001;
constexpr int tmp_not_directory = 9002;
constexpr int version_unknown = 9003;
constexpr int bad_argument = 9004;
constexpr int setting_unknown = 9005;
constexpr int node_unknown = 9006;
constexpr int open_to_all = 9008;
constexpr int tmp_of_other = 9009;
constexpr int not_ours_alone = 9011;

}  // namespace dbm::code
