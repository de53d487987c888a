// A bar on standard error that shows how much of the input has been read.
#pragma once

#include <chrono>
#include <cstdint>

namespace ravelo::logview {

// It only shows when standard error is a terminal, standard output is none, the size is known and
// reading takes longer than a moment. It vanishes at the end.
class progress {
  public:
    // total: bytes of all files.
    explicit progress(uint64_t total);
    progress(const progress &) = delete;
    progress &operator=(const progress &) = delete;
    ~progress() { clear(); }

    // To be called often. A look at the clock is only taken now and then.
    [[nodiscard]] bool is_due();
    void show(uint64_t bytes_read);
    // Takes the bar away.
    void clear();

  private:
    uint64_t total_;
    bool wanted_;
    bool shown_ = false;
    uint64_t calls_ = 0;
    std::chrono::steady_clock::time_point due_;
};

}  // namespace ravelo::logview
