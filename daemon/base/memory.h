// Memory for records: the one place where the daemon allocates and releases it.
#pragma once

#include <cstddef>
#include <type_traits>

namespace ravelo {

// Allocates size bytes, all zero, into *block. Results: 0, or the system's error code with *block
// untouched. The caller owns the block and gives it to release_memory once.
[[nodiscard]] int allocate_memory(size_t size, void **block);

// Releases a block of allocate_memory; null is accepted.
void release_memory(void *block);

// Allocates one zero-filled record into *record. Results and ownership: as allocate_memory.
template <class Record>
[[nodiscard]] int allocate_record(Record **record) {
    static_assert(std::is_trivially_default_constructible_v<Record> &&
                  std::is_trivially_destructible_v<Record>);
    void *block = nullptr;
    const int code = allocate_memory(sizeof(Record), &block);
    if (code == 0)
        *record = static_cast<Record *>(block);
    return code;
}

// Releases every record of a list linked by the given member and empties the list.
template <class Record>
void release_list(Record **head, Record *Record::*link) {
    while (*head != nullptr) {
        Record *const next = (*head)->*link;
        release_memory(*head);
        *head = next;
    }
}

}  // namespace ravelo
