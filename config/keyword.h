// Small readings of a token that all clause readers share.
#pragma once

#include <cstdint>
#include <string_view>

#include "config/get_token.h"

namespace ravelo {

// Converts a token to upper case in place, in the database's code page.
void upper_case(char (&token)[token_size]);

// The number a token begins with: leading blanks, a sign and decimal digits; 0 when it begins with
// none. A number beyond 32 bits reads as INT32_MIN, which no clause accepts.
[[nodiscard]] int32_t number_of(const char *token);

// Whether a token is the separator ";" or ",".
[[nodiscard]] bool is_semicolon(std::string_view token);
[[nodiscard]] bool is_comma(std::string_view token);

}  // namespace ravelo
