// What an operation answers: the call's result, the SQL code and the message tokens, whole.
//
// Whatever takes part in making an answer returns an outcome; calls to the system and to files
// return 0 or the system's error number, and whoever calls them makes the outcome of it. A bool
// answers a question, or says whether a text could be parsed, with the fault beside it.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "govern/interface/sql_codes.h"

// The SQL codes that a recording is answered with; dbm/codes.h has the others.
namespace dbm::sql {

constexpr int32_t no_data = dbm_sql_no_data;          // database
constexpr int32_t database_unknown = -1013;           // database, file
constexpr int32_t unreachable = dbm_sql_unreachable;  // database
constexpr int32_t bad_recording = -1902;              // file, line, field, what is wrong
constexpr int32_t file_unreadable = -1906;            // file, error code

}  // namespace dbm::sql

namespace dbm {

struct outcome {
    int rc = 0;                       // 0: the call itself worked
    int32_t sqlcode = 0;              // 0 success, negative error, positive warning
    std::vector<std::string> tokens;  // of the SQL code's message, at most dbm_most_tokens
    std::optional<std::string> text;  // stands in for the catalog's text; empty: there is none
};

// The call worked; sqlcode says how it went. May throw bad_alloc.
[[nodiscard]] inline outcome answered(int32_t sqlcode, std::initializer_list<std::string> tokens) {
    return {.rc = 0, .sqlcode = sqlcode, .tokens = tokens, .text = {}};
}

// The call itself failed. May throw bad_alloc.
[[nodiscard]] inline outcome call_failed(int32_t sqlcode,
                                         std::initializer_list<std::string> tokens) {
    return {.rc = -1, .sqlcode = sqlcode, .tokens = tokens, .text = {}};
}

[[nodiscard]] inline bool succeeded(const outcome &result) {
    return result.rc == 0 && result.sqlcode == 0;
}

}  // namespace dbm
