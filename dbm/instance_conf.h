// instance.conf: the settings of an instance.
//
// Lines 'key = value'; blank lines and everything from a '#' at the start of a line or after a
// blank are left out. Every key may stand once, database once for every NAME.
//
//   name = NAME          attach only as this instance name, 1 to 9 characters (default: any)
//   manager = NAME       the manager that is governed (default: embedded)
//   nodes = N            number of nodes, 1 to 1000; above 1 connections are directed to a node
//   observe = yes|no     note force and priority calls, but don't carry them out (default: no)
//
// For managers that govern a live server:
//
//   connection = TEXT    how to connect, as the server's own client library reads it
//   database NAME = TEXT the server's name of the database that the daemon knows as NAME, 1 to 8
//                        characters; exactly that one (default: the same name in any case)
//   protect = ROLE, ...  sessions of these roles, with "+ROLE" of the members of a group, also
//   through
//                        other groups, are never seen or touched, nor are those of roles that are
//                        superusers or may replicate, nor, whatever is said, those of the role that
//                        the daemon itself has
//   protect = none       not even those of superusers are protected
//   timeout = N          seconds that connecting or a request may take, 1 to 3600 (default: 10)
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "dbm/common/outcome.h"

namespace dbm {

struct database_name {
    std::string name;    // upper case, as the daemon says it
    std::string server;  // as the server says it
};

struct settings {
    std::string name;  // empty: any name may attach
    std::string manager = "embedded";
    uint32_t nodes = 0;  // 0: not given
    bool observe = false;
    std::string connection;
    std::vector<database_name> databases;
    std::vector<std::string> protected_roles;
    std::vector<std::string> protected_groups;  // whose members are
    bool protect_privileged = true;             // superusers and roles that may replicate
    uint32_t timeout = 10;                      // seconds
};

// The server's name of a database, empty when the settings have none for it.
[[nodiscard]] std::string_view server_name(const settings &conf, std::string_view database);

// Reads path into conf; a file that is not there leaves the defaults. The result is what an attach
// answers: success, sql::bad_setting for the first line that is not understood (the others are
// read all the same) or sql::file_unreadable. May throw bad_alloc.
[[nodiscard]] outcome read_settings(const std::string &path, settings &conf);

}  // namespace dbm
