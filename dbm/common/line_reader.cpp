#include "dbm/common/line_reader.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace dbm {

namespace {

// Moves what is unread to the buffer's front and reads on behind it.
int refill(line_reader &reader, size_t *got) {
    if (reader.begin > 0) {
        const size_t unread = reader.end - reader.begin;
        std::memmove(reader.buffer.data(), reader.buffer.data() + reader.begin, unread);
        reader.buffer_offset += static_cast<off_t>(reader.begin);
        reader.begin = 0;
        reader.end = unread;
    }
    const int problem =
        read_some(reader.file.get(), std::span(reader.buffer).subspan(reader.end), got);
    if (problem == 0)
        reader.end += *got;
    return problem;
}

std::span<char> without_return(std::span<char> line) {
    const bool has_return = !line.empty() && line.back() == '\r';
    return has_return ? line.first(line.size() - 1) : line;
}

}  // namespace

int open_lines(line_reader &reader, const std::string &path) {
    reader = line_reader{};
    reader.buffer.resize(longest_line + 1);
    return open_for_reading(path, reader.file);
}

line_status next_line(line_reader &reader, std::span<char> &line) {
    size_t searched = 0;
    while (true) {
        char *const unread = reader.buffer.data() + reader.begin;
        const size_t length = reader.end - reader.begin;
        const void *const newline =
            length > searched ? std::memchr(unread + searched, '\n', length - searched) : nullptr;
        if (newline != nullptr) {
            const auto size = static_cast<size_t>(static_cast<const char *>(newline) - unread);
            line = without_return({unread, size});
            reader.begin += size + 1;
            ++reader.lines;
            return line_status::line;
        }
        if (length == reader.buffer.size()) {
            ++reader.lines;
            return line_status::too_long;
        }
        searched = length;
        size_t got = 0;
        reader.error = refill(reader, &got);
        if (reader.error != 0)
            return line_status::failed;
        if (got > 0)
            continue;
        if (length == 0)
            return line_status::end;
        line = without_return({reader.buffer.data() + reader.begin, length});
        reader.begin = reader.end;
        ++reader.lines;
        return line_status::line;
    }
}

line_position position_of_next_line(const line_reader &reader) {
    return {reader.buffer_offset + static_cast<off_t>(reader.begin), reader.lines};
}

bool go_to(line_reader &reader, const line_position &position) {
    // What is buffered may have been changed by the caller, so it is read again.
    if (lseek(reader.file.get(), position.offset, SEEK_SET) < 0) {
        reader.error = errno;
        return false;
    }
    reader.buffer_offset = position.offset;
    reader.begin = 0;
    reader.end = 0;
    reader.lines = position.lines_before;
    return true;
}

}  // namespace dbm
