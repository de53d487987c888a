// The lines of a recording that make up a snapshot.
#pragma once

#include "dbm/embedded/recording.h"
#include "dbm/fields.h"

namespace dbm::embedded {

// Each reads a line that was taken apart. False with fault filled, nothing added. May throw
// bad_alloc.
[[nodiscard]] bool parse_snapshot(const field_line &line, played_snapshot &snapshot,
                                  line_fault &fault);
[[nodiscard]] bool add_application_line(const field_line &line, played_snapshot &snapshot,
                                        line_fault &fault);
[[nodiscard]] bool add_subrecord_line(const field_line &line, played_snapshot &snapshot,
                                      line_fault &fault);

}  // namespace dbm::embedded
