// Text in the form 'name=value name="a value" …' that recordings and journals share, and checked
// numbers.
//
// A value in double quotes may hold blanks and these escapes: \" \\ \n \r \t and \xNN, a byte in
// two hexadecimal digits. A value without quotes ends at the next blank and is taken as it stands.
#pragma once

#include <charconv>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace dbm {

struct field {
    std::string_view name;
    std::string_view value;
};

// One line taken apart: its first word and the fields after it.
struct field_line {
    std::string_view word;
    std::vector<field> fields;
};

// What is wrong with a line: the text at fault, as written, and the reason in plain words.
struct line_fault {
    std::string_view text;
    std::string_view reason;
};

// Takes a line apart in place: escapes are resolved in the line's own bytes, and parsed points
// into them. False with fault filled where the line has another form. May throw bad_alloc.
[[nodiscard]] bool parse_fields(std::span<char> line, field_line &parsed, line_fault &fault);

// Appends ' name=value' to line, the value quoted and escaped where it needs to be. The first field
// of a line has no blank before it. May throw bad_alloc.
void append_field(std::string &line, std::string_view name, std::string_view value);

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

[[nodiscard]] constexpr bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

[[nodiscard]] std::string_view without_blanks(std::string_view text);

}  // namespace dbm
