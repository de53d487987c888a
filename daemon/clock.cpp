#include "daemon/clock.h"

#include <cerrno>
#include <cstdio>

namespace ravelo {

int current_time(time_t *seconds) {
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0)
        return errno;
    *seconds = now.tv_sec;
    return 0;
}

int local_time(time_t seconds, tm *calendar) {
    return localtime_r(&seconds, calendar) != nullptr ? 0 : errno;
}

void format_timestamp(std::span<char> field, const tm &calendar) {
    // Years of a 32-bit time have four digits, so this always fits.
    (void)std::snprintf(field.data(), field.size(), "%04d-%02d-%02d-%02d.%02d.%02d",
                        calendar.tm_year + 1900, calendar.tm_mon + 1, calendar.tm_mday,
                        calendar.tm_hour, calendar.tm_min, calendar.tm_sec);
}

}  // namespace ravelo
