// Steps through the records of a snapshot buffer, never reading past its end. Where the library's
// data end within the buffer, only the library knows.
#pragma once

#include <cstddef>
#include <span>

#include "govern/interface/snapshot_records.h"

namespace ravelo {

// What of the buffer has not been stepped over yet.
using snapshot_bytes = std::span<const unsigned char>;

// The next application record: *record points into the buffer, and bytes begins behind it.
// Results: false, nothing changed, when it is not an application record, is shorter than the fields
// read of one, or runs past the buffer.
[[nodiscard]] bool next_application(snapshot_bytes &bytes, const appl_snapshot **record);

// The next sub-record: bytes begins behind it, and *statement points to it if it is an "L"
// sub-record, else it is null. Results: false, nothing changed, when it is shorter than the fields
// read of it or runs past the buffer.
[[nodiscard]] bool next_sub_record(snapshot_bytes &bytes, const l_snapshot **statement);

}  // namespace ravelo
