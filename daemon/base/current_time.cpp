// In a file of its own, so that a program can bring another clock.
#include <cerrno>

#include "daemon/base/clock.h"

namespace ravelo {

int current_time(time_t *seconds) {
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0)
        return errno;
    *seconds = now.tv_sec;
    return 0;
}

}  // namespace ravelo
