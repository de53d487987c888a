#include "daemon/base/clock.h"

#include <cerrno>
#include <cstdio>

#include "daemon/base/text.h"

namespace ravelo {

int local_time(time_t seconds, tm *calendar) {
    constexpr int last_year = 9999 - 1900;  // of four digits
    if (localtime_r(&seconds, calendar) == nullptr)
        return errno;
    return calendar->tm_year <= last_year ? 0 : EOVERFLOW;
}

int show_local_time(char (&field)[timestamp_size], time_t seconds) {
    tm calendar{};
    const int code = local_time(seconds, &calendar);
    if (code != 0) {
        show_no_time(field);
        return code;
    }
    (void)std::snprintf(field, timestamp_size, "%04d-%02d-%02d-%02d.%02d.%02d",
                        calendar.tm_year + 1900, calendar.tm_mon + 1, calendar.tm_mday,
                        calendar.tm_hour, calendar.tm_min, calendar.tm_sec);  // always fits
    return 0;
}

void show_no_time(char (&field)[timestamp_size]) {
    cut_text(field, "9999-99-99-99.99.99");
}

}  // namespace ravelo
