// What the command line asks for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/log/record.h"

namespace ravelo::logview {

enum class form { table, json, html };
enum class colour { automatic, always, never };

// Which records are wanted; an empty list lets every record through. A record without such a field
// passes no list of it.
struct filter {
    std::vector<std::string> types, authids, applications;  // the last two are patterns
    std::vector<int32_t> rules, locations;
    std::optional<int64_t> since{}, until{};

    [[nodiscard]] bool passes(const record &read) const;
};

struct options {
    filter wanted;
    std::string wanted_words;  // the filter as given, for people
    form output = form::table;
    colour colours = colour::automatic;
    size_t width = 0;         // columns; 0: as wide as the terminal
    size_t page_rows = 1000;  // most records in the page's table
    std::vector<std::string> files;
};

enum class parsed { run, done, wrong };

// Reads the command line. done: help or the version was shown; wrong: what is wrong was said on
// standard error.
[[nodiscard]] parsed parse_options(int count, char **words, options &read);

}  // namespace ravelo::logview
