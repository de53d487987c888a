// SQL codes of the database manager that the daemon tells apart.
#pragma once

#include <cstdint>

namespace ravelo::sql_code {

constexpr int32_t ok = 0;
constexpr int32_t unreachable = -1032;  // the database manager is not running
constexpr int32_t gone = -1224;         // the database manager or the agent is gone
constexpr int32_t buffer_too_small = 1606;
constexpr int32_t no_data = 1611;
constexpr int32_t already_forced = 1230;

[[nodiscard]] constexpr bool is_unreachable(int32_t code) {
    return code == unreachable || code == gone;
}

}  // namespace ravelo::sql_code
