// One record of a governor log, taken apart.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace ravelo::logview {

class sentences;

// A record. The texts lie in the line that it was read from and live as long as that line; they may
// hold any byte.
struct record {
    // Seconds from 1970-01-01 00:00:00 to the local time that the record bears, each day having
    // 86400. None when the daemon could not tell the time.
    std::optional<int64_t> time{};
    int32_t node = 0;
    std::string_view type{};
    std::optional<int32_t> location{};  // of ERROR and WARNING
    std::string_view text{};            // without the location

    // What FORCE, NICE, SCHEDGRP and ACCOUNT tell; empty where the record doesn't.
    std::string_view application{}, authid{}, application_id{};
    std::optional<int32_t> rule{};      // line of the rule file
    std::optional<int32_t> priority{};  // of NICE
    std::string_view reason{};          // "CPU used 30 s."

    // Of ACCOUNT: CPU seconds since the application's record before.
    bool accounted = false;
    int64_t user_cpu = 0, system_cpu = 0;
};

// Takes a line, without its newline, apart. known finds the names in the texts of actions; a text
// that it doesn't know just has none. False: the line is no record.
[[nodiscard]] bool parse_record(std::string_view line, const sentences &known, record &read);

// The seconds, as in record, that a time of the form 2026-11-22-23.32.51 means. None: it is no
// time.
[[nodiscard]] std::optional<int64_t> parse_stamp(std::string_view stamp);

}  // namespace ravelo::logview
