// The trace of the library's calls: <instance>/tmp/<process id>.trace, one line per call.
//
// A line is the time in seconds, the operation, its main arguments, rc, sqlcode and the
// microseconds it took.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "dbm/common/operation.h"

namespace dbm {

// Asks for the trace to be switched on or off by the next call. Async-signal-safe.
void flip_trace() noexcept;

// One call while it runs. Costs a test of a flag while the trace is off.
class traced_call {
  public:
    // Opens or closes the trace where that was asked for. A trace that can't be opened is off.
    explicit traced_call(operation which) noexcept;

    // Adds ' name=value' to the call's line. What does not fit is cut.
    void argument(std::string_view name, std::string_view value) noexcept;
    void argument(std::string_view name, int64_t value) noexcept;

    // Writes the line.
    void finish(int rc, int32_t sqlcode) noexcept;

  private:
    void add(std::string_view text) noexcept;

    operation which_;
    bool traced_;
    int64_t started_ = 0;  // microseconds
    size_t used_ = 0;
    std::array<char, 512> line_;
};

}  // namespace dbm
