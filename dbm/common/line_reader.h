// Reads a text file line by line through one buffer, however long the file is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <sys/types.h>
#include <vector>

#include "dbm/common/files.h"

namespace dbm {

// Longest line in bytes, without its newline.
constexpr size_t longest_line = 65535;

enum class line_status : uint8_t {
    line,      // a line was read
    end,       // the file has no further line
    too_long,  // the line is longer than longest_line
    failed,    // the system could not read; error holds its number
};

// Where a line begins, so that it can be read again.
struct line_position {
    off_t offset = 0;
    uint32_t lines_before = 0;
};

struct line_reader {
    file_guard file;
    std::vector<char> buffer;
    off_t buffer_offset = 0;  // file offset of the buffer's first byte
    size_t begin = 0;         // what is still unread lies in [begin, end) of the buffer
    size_t end = 0;
    uint32_t lines = 0;  // lines read so far: the number of the line read last
    int error = 0;
};

// Opens path at its first line. Results: 0, a system error number or code::not_a_file; the reader
// is closed then. May throw bad_alloc.
[[nodiscard]] int open_lines(line_reader &reader, const std::string &path);

// Reads the next line, without its newline or carriage return, into line: bytes of the reader's
// buffer that the caller may change, valid until the next call.
[[nodiscard]] line_status next_line(line_reader &reader, std::span<char> &line);

[[nodiscard]] line_position position_of_next_line(const line_reader &reader);

// Goes on reading at a line met before. False: the system refused; error holds its number.
[[nodiscard]] bool go_to(line_reader &reader, const line_position &position);

}  // namespace dbm
