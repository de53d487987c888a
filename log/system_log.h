// The machine's own log, beside the governor log.
#pragma once

namespace ravelo {

// Copies a text, one line without its newline, to the system log as an error.
void write_system_log(const char *text);

}  // namespace ravelo
