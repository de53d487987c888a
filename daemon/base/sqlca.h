// The template of the sqlca, the one error record of the system.
#pragma once

#include "govern/interface/dbm.h"
#include "govern/interface/sql_codes.h"

namespace ravelo {

// The only initialiser of an sqlca.
extern const sqlca init_sqlca;

// Copies init_sqlca into *ca; null is ignored.
void set_init_sqlca(sqlca *ca);

// Whether a request's SQL code says that the database manager or the agent is away, which a daemon
// outlives.
[[nodiscard]] constexpr bool is_unreachable(int32_t code) {
    return code == dbm_sql_unreachable || code == dbm_sql_gone;
}

}  // namespace ravelo
