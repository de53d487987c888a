// The codes that the library answers with.
#pragma once

#include <cstdint>

// SQL codes: negative errors, positive warnings. Each has a text in the catalog "ozusql.mo"; the
// comment names its tokens.
namespace dbm::sql {

constexpr int32_t agent_already_gone = 1230;   // agent id
constexpr int32_t buffer_too_small = 1606;     // bytes needed, bytes given
constexpr int32_t no_data = 1611;              // database
constexpr int32_t journal_not_written = 1911;  // file, error code

constexpr int32_t database_unknown = -1013;    // database, file
constexpr int32_t not_attached = -1024;        // operation
constexpr int32_t unreachable = -1032;         // database
constexpr int32_t not_authorized = -1092;      // instance directory
constexpr int32_t node_unknown = -1097;        // node, number of nodes
constexpr int32_t agent_gone = -1224;          // agent id
constexpr int32_t out_of_memory = -1900;       // operation
constexpr int32_t bad_call = -1901;            // operation, argument
constexpr int32_t bad_recording = -1902;       // file, line, field, what is wrong
constexpr int32_t bad_setting = -1903;         // file, line, word, what is wrong
constexpr int32_t other_instance = -1904;      // name in instance.conf, name given
constexpr int32_t manager_unknown = -1905;     // manager, instance.conf, managers there are
constexpr int32_t file_unreadable = -1906;     // file, error code
constexpr int32_t snapshot_too_large = -1907;  // database, bytes
constexpr int32_t instance_unusable = -1908;   // instance directory, error code
constexpr int32_t tmp_unusable = -1909;        // tmp directory, error code
constexpr int32_t already_attached = -1910;    // instance directory

}  // namespace dbm::sql

// Results of operations that answer with a plain code: a system error number or one of these.
namespace dbm::code {

constexpr int first_own = 9000;
constexpr int tmp_open_to_all = 9001;
constexpr int tmp_not_directory = 9002;
constexpr int version_unknown = 9003;
constexpr int bad_argument = 9004;
constexpr int setting_unknown = 9005;
constexpr int node_unknown = 9006;
constexpr int not_a_file = 9007;

}  // namespace dbm::code
