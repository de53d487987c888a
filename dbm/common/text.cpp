#include "dbm/common/text.h"

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

}  // namespace dbm
