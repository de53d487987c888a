#include "enforce/appl_texts.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ravelo {
namespace {

constexpr uint64_t every_byte = 0x0101010101010101U;

// The lowest bit that is set is the highest of the first byte that is zero; none when no byte is.
uint64_t zero_bytes(uint64_t word) {
    return (word - every_byte) & ~word & (every_byte << 7U);
}

// Copies a blank-padded field, cut at its first blank or NUL, eight characters at a time.
template <size_t Size, size_t Width>
void copy_field(char (&text)[Size], const char (&field)[Width]) {
    static_assert(Size % sizeof(uint64_t) == 0 && Size > Width);
    char whole[Size] = {};
    std::memcpy(whole, field, Width);
    uint64_t word = 0;
    size_t at = 0;
    for (uint64_t ends = 0; ends == 0; at += sizeof(word)) {
        std::memcpy(&word, whole + at, sizeof(word));
        ends = zero_bytes(word) | zero_bytes(word ^ (every_byte * ' '));
        if (ends != 0)
            word &= ((ends & (~ends + 1)) >> 7U) - 1;  // what is before that byte
        std::memcpy(text + at, &word, sizeof(word));
    }
    std::memset(text + at, 0, Size - at);
}

}  // namespace

void copy_texts(const appl_snapshot *record, appl_texts *texts) {
    copy_field(texts->appl_name, record->applname);
    copy_field(texts->auth_id, record->authid);
    copy_field(texts->appl_text, record->appl_id);
}

}  // namespace ravelo
