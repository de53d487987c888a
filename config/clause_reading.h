// What the clause readers share: reading a token inside a rule, and refusing one.
#pragma once

#include <cstdint>
#include <string_view>

#include "config/get_token.h"
#include "log/report.h"

namespace ravelo {

// Reads a token inside a rule. End of file there is message 1035, reported with the location given.
// Results: 0; -2 or -7, reported.
[[nodiscard]] int32_t get_clause_token(glob_struct *glob, char (&token)[token_size],
                                       location at_end_of_file);

// Reports a refused value: keyword, token and line. Returns -7.
int32_t refuse_value(glob_struct *glob, location where, message number, std::string_view keyword,
                     std::string_view token);

// Reports a refused word: token, keyword and line. Returns -7.
int32_t refuse_word(glob_struct *glob, location where, message number, std::string_view token,
                    std::string_view keyword);

}  // namespace ravelo
