// A message catalog: a binary gettext catalog whose message ids are decimal numbers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace dbm {

struct catalog_text {
    uint32_t number;
    std::string_view text;  // in the catalog's content
};

struct catalog {
    std::vector<char> content;        // the file
    std::vector<catalog_text> texts;  // sorted by number
};

// Reads a catalog file of either byte order. False when there is none, it can't be read or any
// table, string or terminator of it lies outside the file; a malformed catalog is as good as none.
// May throw bad_alloc.
[[nodiscard]] bool read_catalog(const std::string &path, catalog &read);

// The text of a message; empty when the catalog has none.
[[nodiscard]] std::string_view find_text(const catalog &where, uint32_t number);

}  // namespace dbm
