// What every fuzz target needs: its input as a file, and the checks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
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

  private:
    int fd_;
};

}  // namespace ravelo::fuzz
