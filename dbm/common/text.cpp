#include "dbm/common/text.h"

#include <cstdint>
#include <cstring>

namespace dbm {

std::string_view without_blanks(std::string_view text) {
    while (!text.empty() && is_blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back()))
        text.remove_suffix(1);
    return text;
}

bool pad_text(std::span<char> target, std::string_view text) {
    if (text.size() > target.size())
        return false;
    std::memset(target.data(), ' ', target.size());
    if (!text.empty())
        std::memcpy(target.data(), text.data(), text.size());
    return true;
}

std::string_view padded_text(std::span<const char> source) {
    size_t length = source.size();
    while (length > 0 && source[length - 1] == ' ')
        --length;
    return {source.data(), length};
}

void to_upper(std::span<char> text) {
    for (char &c : text) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
}

std::string upper_case(std::string_view text) {
    std::string upper(text);
    to_upper(upper);
    return upper;
}

size_t control_length(std::string_view text) {
    const auto byte = [&](size_t i) {
        return i < text.size() ? uint32_t{static_cast<unsigned char>(text[i])} : 0U;
    };
    if (text.empty() || (byte(0) >= 0x20 && byte(0) < 0x7F))
        return 0;
    if (byte(0) <= 0x7F)
        return 1;
    const uint32_t two = byte(0) << 8U | byte(1);
    if ((two >= 0xC280 && two <= 0xC29F) || two == 0xD89C)
        return 2;
    const uint32_t three = two << 8U | byte(2);
    const bool misleads = (three >= 0xE2808E && three <= 0xE2808F) ||
                          (three >= 0xE280A8 && three <= 0xE280AE) ||
                          (three >= 0xE281A6 && three <= 0xE281A9) || three == 0xEFBBBF;
    return misleads ? 3 : 0;
}

void blank_controls(std::span<char> text) {
    for (size_t at = 0; at < text.size();) {
        const size_t length = control_length({text.data() + at, text.size() - at});
        if (length != 0)
            std::memset(text.data() + at, ' ', length);
        at += length != 0 ? length : 1;
    }
}

}  // namespace dbm
