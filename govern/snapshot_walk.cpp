#include "govern/snapshot_walk.h"

#include <cstring>

namespace ravelo {
namespace {

// The library may place a record at any address of the buffer.
static_assert(alignof(appl_snapshot) == 1 && alignof(l_snapshot) == 1);

// What the record at the beginning of bytes says of itself.
snapshot_header header_of(snapshot_bytes bytes) {
    snapshot_header header;
    std::memcpy(&header, bytes.data(), sizeof(header));
    return header;
}

// Whether a record of at least needed bytes, a header's or more, begins at bytes and ends there.
bool holds_record(snapshot_bytes bytes, size_t needed) {
    if (bytes.size() < needed)
        return false;
    const size_t size = header_of(bytes).size;
    return size >= needed && size <= bytes.size();
}

}  // namespace

bool next_application(snapshot_bytes &bytes, const appl_snapshot **record) {
    if (!holds_record(bytes, sizeof(appl_snapshot)))
        return false;
    const snapshot_header header = header_of(bytes);
    if (header.rec_type != appl_record_type)
        return false;
    *record = reinterpret_cast<const appl_snapshot *>(bytes.data());
    bytes = bytes.subspan(header.size);
    return true;
}

bool next_sub_record(snapshot_bytes &bytes, const l_snapshot **statement) {
    if (!holds_record(bytes, sizeof(snapshot_header)))
        return false;
    const snapshot_header header = header_of(bytes);
    const l_snapshot *found = nullptr;
    if (header.rec_type == l_record_type) {
        if (!holds_record(bytes, sizeof(l_snapshot)))
            return false;
        found = reinterpret_cast<const l_snapshot *>(bytes.data());
    }
    *statement = found;
    bytes = bytes.subspan(header.size);
    return true;
}

}  // namespace ravelo
