#include "dbm/common/catalog.h"

#include <algorithm>
#include <cstring>

#include "dbm/common/files.h"
#include "dbm/common/text.h"

namespace dbm {

namespace {

constexpr size_t largest_catalog = size_t{16} << 20;
constexpr uint32_t magic = 0x950412DE;
constexpr uint32_t swapped_magic = 0xDE120495;
constexpr uint64_t header_bytes = 28;
constexpr uint64_t entry_bytes = 8;

// Bytes of a file whose numbers may be in the other byte order.
struct file_view {
    std::string_view bytes;
    bool swapped;
};

// The number at a place that was checked to lie in the file.
uint32_t number_at(const file_view &file, uint64_t offset) {
    uint32_t value = 0;
    std::memcpy(&value, file.bytes.data() + offset, sizeof value);
    return file.swapped ? __builtin_bswap32(value) : value;
}

// The string that a table entry describes: its terminator must be there too.
bool string_at(const file_view &file, uint64_t entry, std::string_view &text) {
    const uint64_t length = number_at(file, entry);
    const uint64_t offset = number_at(file, entry + 4);
    if (offset + length + 1 > file.bytes.size())
        return false;
    const auto begin = static_cast<size_t>(offset);
    const auto end = begin + static_cast<size_t>(length);
    if (file.bytes[end] != '\0')
        return false;
    text = file.bytes.substr(begin, end - begin);
    text = text.substr(0, text.find('\0'));  // what follows are plural forms
    return true;
}

bool parse_catalog(catalog &read) {
    file_view file = {{read.content.data(), read.content.size()}, false};
    if (file.bytes.size() < header_bytes)
        return false;
    const uint32_t first = number_at(file, 0);
    if (first != magic && first != swapped_magic)
        return false;
    file.swapped = first == swapped_magic;
    const uint32_t major_revision = number_at(file, 4) >> 16;
    const uint64_t count = number_at(file, 8);
    const uint64_t ids = number_at(file, 12);
    const uint64_t texts = number_at(file, 16);
    if (major_revision > 1 || ids + count * entry_bytes > file.bytes.size() ||
        texts + count * entry_bytes > file.bytes.size())
        return false;
    for (uint64_t i = 0; i < count; ++i) {
        std::string_view id;
        std::string_view text;
        if (!string_at(file, ids + i * entry_bytes, id) ||
            !string_at(file, texts + i * entry_bytes, text))
            return false;
        uint32_t number = 0;
        if (!text.empty() && parse_number(id, number))
            read.texts.push_back({number, text});
    }
    std::stable_sort(read.texts.begin(), read.texts.end(),
                     [](const auto &a, const auto &b) { return a.number < b.number; });
    return true;
}

}  // namespace

bool read_catalog(const std::string &path, catalog &read) {
    read.texts.clear();
    return read_file(path, largest_catalog, read.content) == 0 && parse_catalog(read);
}

std::string_view find_text(const catalog &where, uint32_t number) {
    const auto found =
        std::lower_bound(where.texts.begin(), where.texts.end(), number,
                         [](const catalog_text &a, uint32_t b) { return a.number < b; });
    return found != where.texts.end() && found->number == number ? found->text : std::string_view();
}

}  // namespace dbm
