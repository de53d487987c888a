// Checked numbers, blanks, blank-padded fields and upper case.
#pragma once

#include <charconv>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace dbm {

// The whole of text as a decimal number in the range of Number; false for anything else.
template <typename Number>
[[nodiscard]] bool parse_number(std::string_view text, Number &number) {
    Number value = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end)
        return false;
    number = value;
    return true;
}

// The same from least to most; none for anything else.
template <typename Number>
[[nodiscard]] std::optional<Number> number_in(std::string_view text,
                                              Number least = std::numeric_limits<Number>::min(),
                                              Number most = std::numeric_limits<Number>::max()) {
    Number value = 0;
    return parse_number(text, value) && value >= least && value <= most ? std::optional(value)
                                                                        : std::nullopt;
}

[[nodiscard]] constexpr bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

[[nodiscard]] std::string_view without_blanks(std::string_view text);

// Puts text into a blank-padded field. False when it does not fit; the field is untouched then.
[[nodiscard]] bool pad_text(std::span<char> target, std::string_view text);

// The text of a blank-padded field.
[[nodiscard]] std::string_view padded_text(std::span<const char> source);

// Turns the letters of ASCII to upper case, and no others: names are compared byte for byte and
// their length must not change, which no wider notion of case guarantees.
void to_upper(std::span<char> text);

// A copy in upper case. May throw bad_alloc.
[[nodiscard]] std::string upper_case(std::string_view text);

// Length of the character at the start of text that may not reach a terminal or a log: a control,
// also one of UTF-8, a mark that turns the direction of writing, or a line separator. 0: none is
// there. The daemon has the same for its own texts.
[[nodiscard]] size_t control_length(std::string_view text);

// Turns every such character of text into blanks, one for each byte.
void blank_controls(std::span<char> text);

}  // namespace dbm
