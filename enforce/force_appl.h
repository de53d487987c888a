// The action force.
#pragma once

#include <cstdint>

#include "daemon/base/glob_struct.h"
#include "enforce/action_request.h"

namespace ravelo {

// Writes the "FORCE" record and forces the application off the database. aux_number: the
// snapshot's. Results: those of force_appl; when the record can't be written, write_log's, nothing
// being forced.
[[nodiscard]] int32_t force_action(glob_struct *glob, const action_request &request,
                                   uint32_t aux_number);

// Forces one application off the database. An application already forced (dbm_sql_already_forced)
// is a success, and api_sqlca then holds 0. Results, reported: 0; -8 when the manager refused;
// after a warning of the manager's, that of write_log.
[[nodiscard]] int32_t force_appl(glob_struct *glob, uint32_t agent_id);

}  // namespace ravelo
