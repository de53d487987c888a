// Message texts: a catalog's text with the tokens put in.
//
// Placeholders of a catalog text:
//   %1 … %11      the token; a token that is not there is empty
//   %{error N}    token N is a system error number or a code of the library: "13 (EACCES,
//                 permission denied)"
//   %{sql N}      token N is an SQL code: "-1224 (the database manager or the agent is gone)"
//   %{instance}   the instance directory
//   %{newline}    a line break, for a text that others follow on standard output
// Everything else is copied as it stands, also "%s" and "%%". What was put in is not scanned again.
#pragma once

#include <span>
#include <string_view>

#include "dbm/catalogs.h"
#include "govern/interface/dbm.h"

namespace dbm {

// Writes the text of ca's message to buffer as one line: control characters become blanks, and a
// text that is too long is cut at a character's end; only a newline that ends a catalog's text
// stays, for texts that follow each other. NUL-terminated. A message without a text in the catalog
// is shown by its number and tokens. The result is the text's length; 0: no text.
[[nodiscard]] size_t write_message(std::span<char> buffer, catalog_name which,
                                   const sqlca &ca) noexcept;

// As write_message, with a text in place of the catalog's.
[[nodiscard]] size_t write_plain(std::span<char> buffer, std::string_view text) noexcept;

}  // namespace dbm
