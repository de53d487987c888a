// instance.conf: the settings of an instance.
//
// Lines 'key = value'; blank lines and everything from a '#' at the start of a line or after a
// blank are left out. Every key may stand once.
//
//   name = NAME          attach only as this instance name, 1 to 9 characters (default: any)
//   manager = NAME       the manager that is governed (default: embedded)
//   nodes = N            number of nodes, 1 to 1000; above 1 connections are directed to a node
//   observe = yes|no     note force and priority calls, but don't carry them out (default: no)
#pragma once

#include <cstdint>
#include <string>

#include "dbm/outcome.h"

namespace dbm {

struct settings {
    std::string name;  // empty: any name may attach
    std::string manager = "embedded";
    uint32_t nodes = 0;  // 0: not given
    bool observe = false;
};

// Reads path into conf; a file that is not there leaves the defaults. The result is what an attach
// answers: success, sql::bad_setting for the first line that is not understood (the others are
// read all the same) or sql::file_unreadable. May throw bad_alloc.
[[nodiscard]] outcome read_settings(const std::string &path, settings &conf);

}  // namespace dbm
