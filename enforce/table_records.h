// What the tables that enforcement keeps between passes have in common: how a record is made,
// dropped when a pass has not confirmed it, and released.
#pragma once

#include "daemon/base/glob_struct.h"
#include "daemon/base/lookup_index.h"
#include "daemon/base/memory.h"
#include "daemon/base/text.h"
#include "log/report.h"

namespace ravelo {

// Reports that there is no memory for a record, with the allocation's error code.
inline void report_no_record(glob_struct *glob, location where, int code) {
    report_error(glob, where, message::out_of_memory, {decimal(glob->msg_token, code)});
}

// Makes a zero-filled record for a table, with room for it in the table's index. The caller links
// it in and adds it to the index, and owns it until then. Null after reporting message 1020 at the
// location when there is no memory.
template <class Record>
[[nodiscard]] Record *create_record(glob_struct *glob, lookup_index<Record> &index,
                                    location where) {
    Record *entry = nullptr;
    int code = allocate_record(&entry);
    if (code == 0)
        code = reserve_index(index);
    if (code == 0)
        return entry;
    release_memory(entry);
    report_no_record(glob, where, code);
    return nullptr;
}

// Walks a chain, clearing the flag of seen entries; forget is told of each of the others before it
// is unlinked and released.
template <class Record, class Forget>
void drop_unseen(Record **chain, Record *Record::*link, Forget forget) {
    while (*chain != nullptr) {
        Record *const entry = *chain;
        if (entry->seen != 0) {
            entry->seen = 0;
            chain = &(entry->*link);
            continue;
        }
        forget(entry);
        *chain = entry->*link;
        release_memory(entry);
    }
}

}  // namespace ravelo
