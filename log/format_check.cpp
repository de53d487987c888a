#include "log/format_check.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "daemon/base/text.h"

namespace ravelo {
namespace {

constexpr size_t longest_number = 3;

bool is_one_of(char c, std::string_view set) {
    return set.find(c) != std::string_view::npos;
}

// Steps over digits; false when there are more than a sane width has.
bool step_number(std::string_view format, size_t &at) {
    const size_t start = at;
    while (at < format.size() && is_one_of(format[at], "0123456789"))
        ++at;
    return at - start <= longest_number;
}

// Steps over one conversion, at standing behind its per-cent sign.
bool step_conversion(std::string_view format, conversion kind, size_t &at) {
    const bool text = kind == conversion::text;
    while (at < format.size() && is_one_of(format[at], text ? "-" : "-+ 0"))
        ++at;
    if (at < format.size() && format[at] == '0')
        return false;  // a flag that texts don't have
    if (!step_number(format, at))
        return false;
    if (at < format.size() && format[at] == '.') {
        ++at;
        if (!step_number(format, at))
            return false;
    }
    if (at == format.size())
        return false;
    return is_one_of(format[at++], text ? "s" : "di");
}

// Whether the field has the text of length bytes, or what fits of it in whole characters.
bool formatted(std::span<char> field, int length) {
    if (length < 0)
        return false;
    if (static_cast<size_t>(length) >= field.size())
        drop_cut_character(field);
    return true;
}

}  // namespace

bool has_conversions(std::string_view format, conversion kind, size_t count) {
    size_t found = 0;
    for (size_t at = 0; at < format.size();) {
        if (format[at++] != '%')
            continue;
        if (at < format.size() && format[at] == '%') {
            ++at;
            continue;
        }
        if (!step_conversion(format, kind, at))
            return false;
        ++found;
    }
    return found == count;
}

bool format_with_text(std::span<char> field, const char *format, const char *argument) {
    return formatted(field, std::snprintf(field.data(), field.size(), format, argument));
}

bool format_with_integers(std::span<char> field, const char *format,
                          std::span<const int32_t> values) {
    std::array<int32_t, most_integers> v{};
    if (values.size() > v.size())
        return false;
    std::copy(values.begin(), values.end(), v.begin());
    // The format takes as many as were checked to be in it.
    return formatted(
        field, std::snprintf(field.data(), field.size(), format, v[0], v[1], v[2], v[3], v[4], v[5],
                             v[6], v[7], v[8], v[9], v[10], v[11], v[12], v[13], v[14], v[15]));
}

}  // namespace ravelo
