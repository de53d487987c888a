// The embedded manager: plays recorded workloads, <instance>/<DATABASE>.<node>.recording, in place
// of a live database manager.
#pragma once

#include "dbm/manager.h"

namespace dbm::embedded {

extern const manager shape;

}  // namespace dbm::embedded
