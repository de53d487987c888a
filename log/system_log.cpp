// In a file of its own, so that a program can keep away from the system log.
#include "log/system_log.h"

#include <syslog.h>

namespace ravelo {

void write_system_log(const char *text) {
    syslog(LOG_ERR, "%s", text);
}

}  // namespace ravelo
