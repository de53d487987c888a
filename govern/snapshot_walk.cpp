#include "govern/snapshot_walk.h"

namespace ravelo {
namespace {

// Whether a record of at least needed bytes begins at bytes and ends within them.
bool holds_record(snapshot_bytes bytes, size_t needed) {
    if (bytes.size() < needed)
        return false;
    const size_t size = reinterpret_cast<const snapshot_header *>(bytes.data())->size;
    return size >= needed && size <= bytes.size();
}

}  // namespace

bool next_application(snapshot_bytes &bytes, const appl_snapshot **record) {
    if (!holds_record(bytes, sizeof(appl_snapshot)))
        return false;
    const auto *const found = reinterpret_cast<const appl_snapshot *>(bytes.data());
    if (found->rec_type != appl_record_type)
        return false;
    *record = found;
    bytes = bytes.subspan(found->size);
    return true;
}

bool next_sub_record(snapshot_bytes &bytes, const l_snapshot **statement) {
    if (!holds_record(bytes, sizeof(snapshot_header)))
        return false;
    const auto *const header = reinterpret_cast<const snapshot_header *>(bytes.data());
    const l_snapshot *found = nullptr;
    if (header->rec_type == l_record_type) {
        if (!holds_record(bytes, sizeof(l_snapshot)))
            return false;
        found = reinterpret_cast<const l_snapshot *>(bytes.data());
    }
    *statement = found;
    bytes = bytes.subspan(header->size);
    return true;
}

}  // namespace ravelo
