// Whether who answers on a connection is the server whose processes are governed. What the server
// says of itself is not enough: anybody may listen where the server does not.
#pragma once

#include <sys/types.h>

namespace dbm::postgres {

// Whether the peer of a connected socket is the process that is the session's parent, or, over TCP,
// a local process of its user; and session and parent belong to one user. False also where it can't
// be found out. May throw bad_alloc.
[[nodiscard]] bool serves_session(int socket, pid_t parent, pid_t session);

}  // namespace dbm::postgres
