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

// Turns every control character of text into a blank, so that it stays one line.
inline void blank_controls(std::span<char> text) {
    for (char &c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F)
            c = ' ';
    }
}

}  // namespace ravelo
