// What the fuzz targets share: their input as a file, an instance directory, and the checks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

// The entry point that libFuzzer, or run_corpus.cpp, calls for each input.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace ravelo::fuzz {

// Ends the run, whose input is kept, when something does not hold.
inline void require(bool holds, int line = __builtin_LINE()) {
    if (holds)
        return;
    (void)std::fprintf(stderr, "what line %d requires does not hold\n", line);
    std::abort();
}

// A file in memory, which can be opened by its path.
class memory_file {
  public:
    memory_file() : fd_(memfd_create("input", MFD_CLOEXEC)) { require(fd_ >= 0); }
    ~memory_file() { (void)close(fd_); }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;

    void fill(const void *bytes, size_t size) const {
        require(ftruncate(fd_, 0) == 0);
        require(pwrite(fd_, bytes, size, 0) == static_cast<ssize_t>(size));
    }
    [[nodiscard]] std::string content() const {
        std::string text(static_cast<size_t>(lseek(fd_, 0, SEEK_END)), '\0');
        require(pread(fd_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
        return text;
    }
    [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }
    [[nodiscard]] int descriptor() const { return fd_; }

  private:
    int fd_;
};

// An instance directory in memory, for the life of the process.
class instance_directory {
  public:
    instance_directory() {
        char name[] = "/dev/shm/ravelo-fuzz-XXXXXX";
        require(mkdtemp(name) != nullptr && setenv("DBM_INSTANCE", name, 1) == 0);
        path = name;
    }
    ~instance_directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    instance_directory(const instance_directory &) = delete;
    instance_directory &operator=(const instance_directory &) = delete;

    std::filesystem::path path;
};

// Whether text holds no control character but newlines.
inline bool is_printable(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte >= 0x20 && byte != 0x7F) || c == '\n';
    });
}

// Every record of a log is one line: its time, the node, its type and a text.
inline void check_log(std::string_view text) {
    require(is_printable(text));
    while (!text.empty()) {
        const size_t end = text.find('\n');
        require(end != std::string_view::npos && end >= 36 && text[4] == '-' && text[19] == ' ' &&
                text[25] >= 'A' && text[25] <= 'Z' && text[35] == ' ');
        text.remove_prefix(end + 1);
    }
}

}  // namespace ravelo::fuzz
