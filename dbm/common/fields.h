// Text in the form 'name=value name="a value" …' that recordings and journals share.
//
// A value in double quotes may hold blanks and these escapes: \" \\ \n \r \t and \xNN, a byte in
// two hexadecimal digits. A value without quotes ends at the next blank and is taken as it stands.
#pragma once

#include <span>
#include <string>
#include <string_view>
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

}  // namespace dbm
