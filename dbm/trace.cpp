#include "dbm/trace.h"

#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

#include "dbm/common/files.h"
#include "dbm/common/text.h"
#include "dbm/instance.h"

namespace dbm {

namespace {

volatile std::sig_atomic_t trace_wanted = 0;
file_guard trace_file;

int64_t microseconds() noexcept {
    using namespace std::chrono;
    return duration_cast<std::chrono::microseconds>(steady_clock::now().time_since_epoch()).count();
}

int open_trace() {
    const instance &where = current_instance();
    const int problem = prepare_tmp(where);
    if (problem != 0)
        return problem;
    return open_for_appending(tmp_file(where, std::to_string(getpid()) + ".trace"), trace_file);
}

// Brings the file in line with what is wanted; whether calls are traced.
bool follow_wish() noexcept {
    if (trace_wanted == 0) {
        trace_file.reset();
        return false;
    }
    if (trace_file.is_open())
        return true;
    try {
        if (open_trace() == 0)
            return true;
    } catch (...) {
        trace_file.reset();
    }
    trace_wanted = 0;  // there is nobody to tell; the next signal tries again
    return false;
}

}  // namespace

void flip_trace() noexcept {
    trace_wanted = trace_wanted == 0 ? 1 : 0;
}

traced_call::traced_call(operation which) noexcept : which_(which), traced_(follow_wish()) {
    if (!traced_)
        return;
    started_ = microseconds();
    using namespace std::chrono;
    const int64_t now =
        duration_cast<std::chrono::microseconds>(system_clock::now().time_since_epoch()).count();
    const int length =
        std::snprintf(line_.data(), line_.size(), "%lld.%06lld",
                      static_cast<long long>(now / 1000000), static_cast<long long>(now % 1000000));
    used_ = length > 0 ? static_cast<size_t>(length) : 0;
    add(" ");
    add(name_of(which_));
}

void traced_call::add(std::string_view text) noexcept {
    const size_t room = line_.size() - 1 - used_;  // one byte is kept for the newline
    const size_t length = text.size() < room ? text.size() : room;
    std::memcpy(line_.data() + used_, text.data(), length);
    used_ += length;
}

void traced_call::argument(std::string_view name, std::string_view value) noexcept {
    if (!traced_)
        return;
    add(" ");
    add(name);
    add("=");
    add(value);
}

void traced_call::argument(std::string_view name, int64_t value) noexcept {
    std::array<char, 24> digits = {};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    argument(name, std::string_view(digits.data(), static_cast<size_t>(end - digits.data())));
}

void traced_call::finish(int rc, int32_t sqlcode) noexcept {
    if (!traced_)
        return;
    const int64_t elapsed = microseconds() - started_;
    constexpr size_t longest_ending = 80;
    if (used_ > line_.size() - longest_ending)
        used_ = line_.size() - longest_ending;  // long arguments must not cut the results
    argument("rc", rc);
    argument("sqlcode", sqlcode);
    argument("us", elapsed);
    blank_controls({line_.data(), used_});
    line_[used_++] = '\n';
    (void)write_line(trace_file.get(), {line_.data(), used_});  // a trace never stops the daemon
}

}  // namespace dbm
