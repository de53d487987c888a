// The forms of output. Each takes the records one by one and writes to standard output.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "tools/log/options.h"
#include "tools/log/record.h"

namespace ravelo::logview {

class writer {
  public:
    writer() = default;
    writer(const writer &) = delete;
    writer &operator=(const writer &) = delete;
    virtual ~writer() = default;

    virtual void add(const record &read) = 0;
    // After the last record. malformed: how many lines were no records.
    virtual void finish(uint64_t malformed) = 0;
};

// A line of columns for each record, as wide as the terminal.
[[nodiscard]] std::unique_ptr<writer> make_table(const options &asked);
// A JSON object a line for each record.
[[nodiscard]] std::unique_ptr<writer> make_json();
// One HTML page about all records.
[[nodiscard]] std::unique_ptr<writer> make_page(const options &asked);

// What was done, in short: "rule 21: CPU used 30 s.", "4 s user, 0 s system CPU"; of other records
// their text, with the location in front.
[[nodiscard]] std::string short_text(const record &read);

// Writes to standard output. That it failed is seen at the end, by ferror.
void put(std::string_view text);

}  // namespace ravelo::logview
