// Bounded text for fixed-size fields: whatever does not fit is cut, and the result says so.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace ravelo {

// The text of a NUL-terminated field, never reading past its end.
template <size_t Size>
[[nodiscard]] std::string_view text_of(const char (&field)[Size]) {
    return {field, strnlen(field, Size)};
}

// Copies text into a field, NUL-terminated. Returns whether all of it fitted.
[[nodiscard]] inline bool copy_text(std::span<char> field, std::string_view text) {
    if (field.empty())
        return text.empty();
    const size_t length = text.size() < field.size() ? text.size() : field.size() - 1;
    if (length != 0)
        std::memcpy(field.data(), text.data(), length);
    field[length] = '\0';
    return length == text.size();
}

// As copy_text where a cut text is what is wanted.
inline void cut_text(std::span<char> field, std::string_view text) {
    (void)copy_text(field, text);  // cutting is the point
}

// Takes away a UTF-8 character at the end of a field's text whose last bytes were cut off. Only for
// a text that was cut: any other ends as it was given.
inline void drop_cut_character(std::span<char> field) {
    constexpr size_t longest = 4;
    const size_t used = strnlen(field.data(), field.size());
    for (size_t back = 1; back < longest && back <= used; ++back) {
        const auto byte = static_cast<unsigned char>(field[used - back]);
        if (byte < 0x80)
            return;
        if (byte < 0xC0)
            continue;
        const size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
        if (length > back)
            field[used - back] = '\0';
        return;
    }
}

// Appends text to a NUL-terminated field. Returns whether all of it fitted; what did is there, in
// whole characters.
[[nodiscard]] inline bool append_text(std::span<char> field, std::string_view text) {
    const size_t used = strnlen(field.data(), field.size() - 1);
    const bool fitted = copy_text(field.subspan(used), text);
    if (!fitted)
        drop_cut_character(field.subspan(used));
    return fitted;
}

// Of decimal and unsigned_decimal, which say what type a number has.
template <size_t Size, class Number>
[[nodiscard]] std::string_view digits(char (&field)[Size], Number value) {
    static_assert(Size >= 12 && sizeof(Number) <= 4);
    char *const end = std::to_chars(field, field + Size - 1, value).ptr;  // always fits
    *end = '\0';
    return {field, static_cast<size_t>(end - field)};
}

// Renders a number in decimal into field and returns the text, which lives in the field.
// The field holds at least 12 characters, enough for any 32-bit value.
template <size_t Size>
[[nodiscard]] std::string_view decimal(char (&field)[Size], int32_t value) {
    return digits(field, value);
}

template <size_t Size>
[[nodiscard]] std::string_view unsigned_decimal(char (&field)[Size], uint32_t value) {
    return digits(field, value);
}

// Length of the character at the start of text that may not reach a terminal or a log: a control,
// also one of UTF-8, a mark that turns the direction of writing, or a line separator. 0: none is
// there. The client library has the same for its own texts.
[[nodiscard]] inline size_t control_length(std::string_view text) {
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

// Turns every such character of text into blanks, one for each byte, so that it stays one line and
// as long as it was.
inline void blank_controls(std::span<char> text) {
    for (size_t at = 0; at < text.size();) {
        const size_t length = control_length({text.data() + at, text.size() - at});
        if (length != 0)
            std::memset(text.data() + at, ' ', length);
        at += length != 0 ? length : 1;
    }
}

}  // namespace ravelo
