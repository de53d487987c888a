// The wall clock and its local calendar form.
#pragma once

#include <cstdint>
#include <ctime>
#include <span>

namespace ravelo {

// The current time in seconds since the epoch. Results: 0, or the system's error code.
[[nodiscard]] int current_time(time_t *seconds);

// Local calendar time of a moment. Results: 0, or the system's error code (a year out of range).
[[nodiscard]] int local_time(time_t seconds, tm *calendar);

// A moment as year-month-day-hour.minute.second, 19 characters, into field (20 bytes or more).
void format_timestamp(std::span<char> field, const tm &calendar);

}  // namespace ravelo
