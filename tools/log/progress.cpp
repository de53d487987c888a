#include "tools/log/progress.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace ravelo::logview {
namespace {

constexpr uint64_t calls_per_look = 1024;
constexpr std::chrono::milliseconds first_wait(500);
constexpr std::chrono::milliseconds later_wait(100);
constexpr size_t bar_width = 30;

}  // namespace

progress::progress(uint64_t total)
    : total_(total),
      wanted_(total > 0 && isatty(STDERR_FILENO) != 0 && isatty(STDOUT_FILENO) == 0),
      due_(std::chrono::steady_clock::now() + first_wait) {}

bool progress::is_due() {
    return wanted_ && ++calls_ % calls_per_look == 0 && std::chrono::steady_clock::now() >= due_;
}

void progress::show(uint64_t bytes_read) {
    due_ = std::chrono::steady_clock::now() + later_wait;
    const uint64_t percent = std::min<uint64_t>(bytes_read / (total_ / 100 + 1), 100);
    const auto full = static_cast<size_t>(percent) * bar_width / 100;
    const std::string bar = std::string(full, '#') + std::string(bar_width - full, '.');
    (void)std::fprintf(stderr, "\rReading [%s] %3d%%", bar.c_str(), static_cast<int>(percent));
    shown_ = true;
}

void progress::clear() {
    if (shown_)
        (void)std::fputs("\r\x1B[K", stderr);
    shown_ = false;
}

}  // namespace ravelo::logview
