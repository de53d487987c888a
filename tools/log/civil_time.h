// Times of the local calendar as plain seconds, and back; no zones and no clock changes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ravelo::logview {

constexpr int64_t seconds_of_day = 86400;

// The seconds from 1970-01-01 to the beginning of a day of the form 2026-11-22. None: no such day.
[[nodiscard]] std::optional<int64_t> day_of(std::string_view date);

// "2026-11-22 23:32:51", with another separator if wanted.
[[nodiscard]] std::string show_time(int64_t time, char separator = ' ');

// The local time now.
[[nodiscard]] int64_t local_now();

// What a user says of a time: "2026-11-22", "2026-11-22 08:00", "2026-11-22 08:00:30" (also with a
// T between, or as the log has it: 2026-11-22-08.00.30), "08:00" or "08:00:30" of the day of now,
// or
// "-90s", "-30m", "-2h", "-7d" before now. None: it is none of these.
[[nodiscard]] std::optional<int64_t> parse_moment(std::string_view text, int64_t now);

}  // namespace ravelo::logview
