// Text of a log or a recording made safe to show: both hold names that applications chose, so they
// may hold any byte.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ravelo {

// A copy in which each byte that is not UTF-8 has become U+FFFD.
[[nodiscard]] std::string valid_utf8(std::string_view text);

// A copy of JSON, without line breaks, in which controls and characters that turn the direction of
// writing are escaped, as JSON may but need not do.
[[nodiscard]] std::string escape_hidden(std::string_view json);

// Appends text for HTML, inside and outside of quotes. Controls, characters that turn the direction
// of writing and what is not UTF-8 become U+FFFD.
void append_html(std::string &out, std::string_view text);

// A copy for a terminal or a file, of one line, at most so many bytes: each byte of a control, of a
// character that turns the direction of writing, and of what is not UTF-8 has become \xNN.
[[nodiscard]] std::string escaped(std::string_view text, size_t most = std::string_view::npos);

// A character, or the escape \xNN for a byte of one that may not reach a terminal.
struct shown_character {
    std::string bytes;
    size_t columns;
};

// Takes the first character off a text that is not empty, and gives what a terminal may show of it.
// utf8: the terminal shows UTF-8; otherwise only ASCII.
[[nodiscard]] shown_character next_shown(std::string_view &text, bool utf8);

}  // namespace ravelo
