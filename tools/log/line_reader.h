// Lines of a file, compressed or not, as they come: no more than a block and a line are in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct archive;

namespace ravelo::logview {

// The longest line that is read whole; a record is far shorter.
constexpr size_t longest_line = size_t{64} << 10;

class line_reader {
  public:
    line_reader() = default;
    line_reader(const line_reader &) = delete;
    line_reader &operator=(const line_reader &) = delete;
    ~line_reader() { close(); }

    // Opens a file; "-" is standard input. What it is compressed with, if anything, its content
    // tells: gzip, xz, bzip2 or zstd. False: failure says why.
    [[nodiscard]] bool open(const std::string &path);
    void close();

    // The next line, without its newline; it lives until the next call. Of one that is longer than
    // longest_line the beginning. False: the end, or failure says why there is no more.
    [[nodiscard]] bool next(std::string_view &line);

    // Why the last call failed; empty when it didn't.
    [[nodiscard]] const std::string &failure() const { return failure_; }
    // Bytes read of the file, as it is stored, until it was closed.
    [[nodiscard]] uint64_t bytes_read() const;

  private:
    struct release {
        void operator()(archive *opened) const;
    };
    bool fill();
    void keep(std::string_view part);
    bool fail();

    std::unique_ptr<archive, release> archive_;
    int descriptor_ = -1;
    std::string_view block_;  // what of the archive's block has not been given out
    std::string carried_;     // beginning of a line that goes on in the next block
    bool at_end_ = false;
    uint64_t read_ = 0;  // of a closed file
    std::string failure_;
};

// The size of a regular file; 0 of anything else.
[[nodiscard]] uint64_t size_of_file(const std::string &path);

// Whether a file can be opened a second time and read from its beginning.
[[nodiscard]] bool is_regular_file(const std::string &path);

}  // namespace ravelo::logview
