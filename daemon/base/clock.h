// The wall clock and its local calendar form.
#pragma once

#include <cstddef>
#include <ctime>

namespace ravelo {

// The current time in seconds since the epoch. Results: 0, or the system's error code.
[[nodiscard]] int current_time(time_t *seconds);

// Local calendar time of a moment up to the year 9999. Results: 0, or the system's error code.
[[nodiscard]] int local_time(time_t seconds, tm *calendar);

constexpr size_t timestamp_size = 80;  // more than any int of a calendar could need

// A moment as local year-month-day-hour.minute.second, 19 characters; "9999-99-99-99.99.99" when it
// has no local form. Results: as local_time.
[[nodiscard]] int show_local_time(char (&field)[timestamp_size], time_t seconds);

// The placeholder for a time that can't be had.
void show_no_time(char (&field)[timestamp_size]);

}  // namespace ravelo
