// What the texts of a server and of its client library say, in a form that fits a message.
#pragma once

#include <string>
#include <string_view>

namespace dbm::postgres {

// The first line of a text, without the SQLSTATE that a verbose message has after its severity, and
// at most 300 bytes of it. May throw bad_alloc.
[[nodiscard]] std::string one_line(const char *text);

// The last SQLSTATE of a verbose message, empty when it has none. May throw bad_alloc.
[[nodiscard]] std::string sqlstate_in(std::string_view text);

}  // namespace dbm::postgres
