// The governed server: the connection to it, made anew when it was lost, and what may be done
// there.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <sys/types.h>
#include <vector>

#include "dbm/common/outcome.h"
#include "dbm/instance_conf.h"
#include "dbm/postgres/connection.h"
#include "dbm/postgres/process.h"

namespace dbm::postgres {

struct server {
    connection link;
    pid_t process = 0;         // the server's own process, whose children the backends are
    int32_t own_session = 0;   // the process of the connection's own session
    bool counts_rows = false;  // it has the extension
    std::string counting;      // the oid of the extension's function
    priority_rights rights;

    // What is missing for governing, a warning each; every code once for an attachment.
    std::vector<outcome> limitations;
};

// The protected groups as the array that ask_activity takes. May throw bad_alloc.
[[nodiscard]] parameter protected_groups(const settings &conf);

// Whether all roles and groups that are to be protected are there. unknown: the first one that is
// not. May throw bad_alloc.
[[nodiscard]] reply find_protected(server &where, const settings &conf, std::string &unknown);

// Connects and finds out what may be done. May throw bad_alloc.
[[nodiscard]] reply connect_server(server &where, const settings &conf);

// Asks a statement; after a lost connection once more on a new one. May throw bad_alloc.
[[nodiscard]] reply ask_server(server &where, const settings &conf, const statement &what,
                               std::span<const parameter> parameters, rows &answer);

// Does without the server's count of rows, which failed for that reason.
void stop_counting_rows(server &where, std::string reason);

// Sees, in a statement of its own, that the extension's function is still the accepted one. Once it
// is not, the statement that calls it may not even be planned: that evaluates default values.
[[nodiscard]] reply confirm_extension(server &where, const settings &conf);

}  // namespace dbm::postgres
