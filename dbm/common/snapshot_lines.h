// The lines of a recording that make up a snapshot.
#pragma once

#include "dbm/common/fields.h"
#include "dbm/common/recording.h"

namespace dbm {

// Each reads a line that was taken apart. False with fault filled, nothing added. May throw
// bad_alloc.
[[nodiscard]] bool parse_snapshot(const field_line &line, played_snapshot &snapshot,
                                  line_fault &fault);
[[nodiscard]] bool add_application_line(const field_line &line, played_snapshot &snapshot,
                                        line_fault &fault);
[[nodiscard]] bool add_subrecord_line(const field_line &line, played_snapshot &snapshot,
                                      line_fault &fault);

}  // namespace dbm
