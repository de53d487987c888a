// The governor log file: one text line per record, and this is its only writer.
#pragma once

#include <cstdint>
#include <string_view>

#include "daemon/base/glob_struct.h"
#include "log/locations.h"

namespace ravelo {

namespace record_type {
constexpr std::string_view start = "START";
constexpr std::string_view stop = "STOP";
constexpr std::string_view readcfg = "READCFG";
constexpr std::string_view debug = "DEBUG";
constexpr std::string_view error = "ERROR";
constexpr std::string_view warning = "WARNING";
constexpr std::string_view force = "FORCE";
constexpr std::string_view nice = "NICE";
constexpr std::string_view schedgrp = "SCHEDGRP";
constexpr std::string_view account = "ACCOUNT";
}  // namespace record_type

// Writes msg_text as one record of the given type, with a location unless it is location::none.
// The log file is opened by the first record, and again whenever it has vanished. ERROR and WARNING
// records are copied to the system log. In validation mode the text alone goes to standard error.
//
// Results:
//    0  the record is written
//   -2  the log file could not be opened or positioned, which is said on standard error, or not
//       written, which is said there with the record itself
//   -3  the current time could not be had: the record is written with a placeholder for it, and a
//       second one that says so, if the log can be written
[[nodiscard]] int32_t write_log(glob_struct *glob, std::string_view type, location where);

// Closes the log file if it is open; it counts as not open afterwards, also on a failure.
// Results: 0, or the system's error code, not reported.
[[nodiscard]] int close_log(glob_struct *glob);

}  // namespace ravelo
