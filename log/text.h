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

// Appends text to a NUL-terminated field. Returns whether all of it fitted; what did is there.
[[nodiscard]] inline bool append_text(std::span<char> field, std::string_view text) {
    const size_t used = strnlen(field.data(), field.size() - 1);
    return copy_text(field.subspan(used), text);
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
