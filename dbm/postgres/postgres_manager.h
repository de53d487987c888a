// The PostgreSQL manager: governs a live server on this machine through libpq.
#pragma once

#include "dbm/manager.h"

namespace dbm::postgres {

// In a library that was built without libpq, attaching is all that this manager does: it fails.
extern const manager shape;

}  // namespace dbm::postgres
