// What an operation answers: the call's result, the SQL code and the message tokens, whole.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace dbm {

struct outcome {
    int rc = 0;                       // 0: the call itself worked
    int32_t sqlcode = 0;              // 0 success, negative error, positive warning
    std::vector<std::string> tokens;  // of the SQL code's message, at most 11
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
