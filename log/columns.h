// The columns of the governor log, for those who write it and those who read it.
#pragma once

#include <cstddef>
#include <string_view>

namespace ravelo {

struct log_column {
    size_t begin, width;
};

// The column after another one and a blank.
[[nodiscard]] constexpr log_column column_after(log_column before, size_t width) {
    return {before.begin + before.width + 1, width};
}

// Of a record. A node of five digits moves what follows it by one.
namespace record_columns {
constexpr log_column time{0, 19};
constexpr log_column node = column_after(time, 4);
constexpr log_column type = column_after(node, 10);
constexpr size_t text = type.begin + type.width + 1;
}  // namespace record_columns

// Of the text of an "ACCOUNT" record. Names fill their columns from the left, numbers from the
// right.
namespace account_columns {
constexpr log_column authid{0, 20};
constexpr log_column appl_id = column_after(authid, 32);
constexpr log_column applname = column_after(appl_id, 20);
constexpr log_column connected = column_after(applname, record_columns::time.width);
constexpr log_column user_cpu = column_after(connected, 10);  // whole seconds
constexpr log_column system_cpu = column_after(user_cpu, 10);
constexpr size_t end = system_cpu.begin + system_cpu.width;
}  // namespace account_columns

// A column's width, for printf.
[[nodiscard]] constexpr int print_width(log_column column) {
    return static_cast<int>(column.width);
}

[[nodiscard]] constexpr std::string_view without_fill(std::string_view text) {
    const size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// What a column holds, without the blanks that fill it. The text must reach its beginning.
[[nodiscard]] constexpr std::string_view text_in(std::string_view text, log_column column) {
    return without_fill(text.substr(column.begin, column.width));
}

}  // namespace ravelo
