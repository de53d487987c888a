// Finds the records of a table by key, in a time that does not grow with the table. An index stands
// beside its table: it neither owns the records nor knows their order, and is told of every record
// that joins the table or leaves it.
#pragma once

#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "daemon/base/memory.h"

namespace ravelo {

// An open-addressing hash table of pointers. Of records with equal keys the newest is found, as it
// is at the head of a chain. A zero-filled index is an empty one; release_index releases its slots.
template <class Record>
struct lookup_index {
    struct slot {
        Record *record;  // null: free
        uint32_t hash;
    };
    slot *slots;        // of records with equal hashes the newest comes first
    uint32_t capacity;  // slots: 0 or a power of two
    uint32_t count;     // slots taken, at most half of them
};

// The hash of a key made of 64-bit words: every bit of each reaches every bit of the result.
template <size_t Count>
[[nodiscard]] constexpr uint32_t hash_words(const uint64_t (&words)[Count]) {
    uint64_t sum = 0;
    for (const uint64_t word : words)
        sum = std::rotl(sum, 23) + (word ^ (word >> 32U)) * 0x9E3779B97F4A7C15U;
    sum = (sum ^ (sum >> 32U)) * 0xD6E8FEB86659FD93U;
    return static_cast<uint32_t>(sum >> 32U);
}

// Puts a record into the first slot from its hash on that is free or holds an equal hash, where it
// takes the other record's place and lets that one go on looking. There is a free slot.
template <class Record>
void place_in_slot(lookup_index<Record> &index, typename lookup_index<Record>::slot entry) {
    const uint32_t mask = index.capacity - 1;
    for (uint32_t at = entry.hash & mask;; at = (at + 1) & mask) {
        auto &here = index.slots[at];
        if (here.record == nullptr) {
            here = entry;
            return;
        }
        if (here.hash == entry.hash) {
            const auto older = here;
            here = entry;
            entry = older;
        }
    }
}

// Makes room for one more record. Results: 0, or the allocation's error code, nothing changed.
template <class Record>
[[nodiscard]] int reserve_index(lookup_index<Record> &index) {
    using slot = typename lookup_index<Record>::slot;
    constexpr uint32_t fewest = 64;
    constexpr uint32_t most = UINT32_MAX / (2 * sizeof(slot));
    if (index.count < index.capacity / 2)
        return 0;
    if (index.capacity > most)
        return ENOMEM;
    const uint32_t capacity = index.capacity == 0 ? fewest : index.capacity * 2;
    void *block = nullptr;
    const int code = allocate_memory(capacity * sizeof(slot), &block);
    if (code != 0)
        return code;
    lookup_index<Record> grown{static_cast<slot *>(block), capacity, index.count};
    // Backwards from a free slot, so that of equal hashes the newest is placed last.
    uint32_t start = 0;
    while (index.capacity != 0 && index.slots[start].record != nullptr)
        ++start;
    for (uint32_t i = 1; i < index.capacity; ++i) {
        const slot &entry = index.slots[(start - i) & (index.capacity - 1)];
        if (entry.record != nullptr)
            place_in_slot(grown, entry);
    }
    release_memory(index.slots);
    index = grown;
    return 0;
}

// Adds a record of the table; reserve_index has made room for it. hash: of its key.
template <class Record>
void add_to_index(lookup_index<Record> &index, uint32_t hash, Record *record) {
    place_in_slot(index, {record, hash});
    ++index.count;
}

// The newest record of that hash of which has_key, called with a const Record *, is true; or null.
template <class Record, class HasKey>
[[nodiscard]] Record *find_in_index(const lookup_index<Record> &index, uint32_t hash,
                                    HasKey has_key) {
    if (index.capacity == 0)
        return nullptr;
    const uint32_t mask = index.capacity - 1;
    for (uint32_t at = hash & mask; index.slots[at].record != nullptr; at = (at + 1) & mask)
        if (index.slots[at].hash == hash && has_key(index.slots[at].record))
            return index.slots[at].record;
    return nullptr;
}

// Removes a record, given with the hash of its key; one that is not there is accepted.
template <class Record>
void remove_from_index(lookup_index<Record> &index, uint32_t hash, const Record *record) {
    if (index.capacity == 0)
        return;
    const uint32_t mask = index.capacity - 1;
    uint32_t hole = hash & mask;
    while (index.slots[hole].record != nullptr && index.slots[hole].record != record)
        hole = (hole + 1) & mask;
    if (index.slots[hole].record == nullptr)
        return;
    // What a search would no longer reach across the hole moves into it, and leaves one itself.
    for (uint32_t at = (hole + 1) & mask; index.slots[at].record != nullptr; at = (at + 1) & mask) {
        const uint32_t from_home = (at - index.slots[at].hash) & mask;
        if (from_home >= ((at - hole) & mask)) {
            index.slots[hole] = index.slots[at];
            hole = at;
        }
    }
    index.slots[hole].record = nullptr;
    --index.count;
}

// Releases the slots and leaves the index empty. The records stay.
template <class Record>
void release_index(lookup_index<Record> &index) {
    release_memory(index.slots);
    index = {};
}

}  // namespace ravelo
