// ravelod, the governor daemon: holds every application connected to a database against the rules
// of its configuration file.
#include "daemon/base/files.h"
#include "daemon/base/result.h"
#include "daemon/command_line.h"

int main(int argc, char **argv) {
    static ravelo::glob_struct glob;
    // Not even standard error can be relied on when this fails.
    if (ravelo::guard_standard_streams() != 0)
        return ravelo::result::file;
    return ravelo::run_command(&glob, {argv, static_cast<size_t>(argc)});
}
