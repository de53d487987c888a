// Plain words for the numbers that messages show: system errors, the library's codes, SQL codes.
// They are English; catalogs "words" in other languages have a text for each number without its
// sign.
#pragma once

#include <string_view>

namespace dbm {

struct code_words {
    std::string_view name;   // "EACCES"; empty for numbers without a name
    std::string_view words;  // "permission denied"; empty: nothing is known about the number
};

// A system error number or one of the library's own codes.
[[nodiscard]] code_words words_of_error(int number);

[[nodiscard]] std::string_view words_of_sqlcode(int number);

}  // namespace dbm
