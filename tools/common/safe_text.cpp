#include "tools/common/safe_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <cwctype>

namespace ravelo {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

struct decoded {
    uint32_t character;
    size_t length;
    bool valid;  // otherwise length is 1
};

// The first character of a text that is not empty: no overlong forms, surrogates or anything above
// U+10FFFF.
decoded decode(std::string_view text) {
    constexpr std::array<uint32_t, 5> least = {0, 0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80)
        return {first, 1, true};
    const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length)
        return {0, 1, false};
    uint32_t character = first & (0x7FU >> length);
    for (size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0U) != 0x80)
            return {0, 1, false};
        character = (character << 6U) | (next & 0x3FU);
    }
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    if (character < least[length] || character > 0x10FFFF || surrogate)
        return {0, 1, false};
    return {character, length, true};
}

bool is_control(uint32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

// Marks that turn or isolate the direction of writing, and line separators.
bool misleads(uint32_t character) {
    return (character >= 0x200E && character <= 0x200F) ||
           (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069) || character == 0x061C ||
           character == 0xFEFF;
}

void append_hex(std::string &out, const char *format, unsigned value) {
    char shown[16];
    (void)std::snprintf(shown, sizeof shown, format, value);  // fits
    out += shown;
}

// The bytes of a character as \xNN.
std::string hex_bytes(std::string_view bytes) {
    std::string shown;
    for (const char byte : bytes)
        append_hex(shown, "\\x%02X", static_cast<unsigned char>(byte));
    return shown;
}

}  // namespace

std::string escaped(std::string_view text, size_t most) {
    std::string shown;
    while (!text.empty()) {
        const decoded next = decode(text);
        const std::string_view bytes = text.substr(0, next.length);
        const bool safe = next.valid && !is_control(next.character) && !misleads(next.character);
        const std::string piece = safe ? std::string(bytes) : hex_bytes(bytes);
        if (piece.size() > most - shown.size())
            break;
        shown += piece;
        text.remove_prefix(next.length);
    }
    return shown;
}

std::string valid_utf8(std::string_view text) {
    std::string valid;
    while (!text.empty()) {
        const decoded next = decode(text);
        valid += next.valid ? text.substr(0, next.length) : replacement;
        text.remove_prefix(next.length);
    }
    return valid;
}

std::string escape_hidden(std::string_view json) {
    std::string shown;
    while (!json.empty()) {
        const decoded next = decode(json);
        if (is_control(next.character) || misleads(next.character))
            append_hex(shown, "\\u%04x", next.character);
        else
            shown += json.substr(0, next.length);
        json.remove_prefix(next.length);
    }
    return shown;
}

void append_html(std::string &out, std::string_view text) {
    while (!text.empty()) {
        const decoded next = decode(text);
        if (!next.valid || is_control(next.character) || misleads(next.character))
            out += replacement;
        else if (next.character == '&')
            out += "&amp;";
        else if (next.character == '<')
            out += "&lt;";
        else if (next.character == '>')
            out += "&gt;";
        else if (next.character == '"')
            out += "&quot;";
        else if (next.character == '\'')
            out += "&#39;";
        else
            out += text.substr(0, next.length);
        text.remove_prefix(next.length);
    }
}

shown_character next_shown(std::string_view &text, bool utf8) {
    const decoded next = decode(text);
    const auto wide = static_cast<wint_t>(next.character);
    const int columns = next.character < 0x80 ? 1 : wcwidth(static_cast<wchar_t>(wide));
    const bool safe = next.valid && !is_control(next.character) && !misleads(next.character) &&
                      (next.character < 0x80 || (utf8 && iswprint(wide) != 0 && columns >= 0));
    shown_character shown{std::string(text.substr(0, next.length)), 0};
    if (safe) {
        shown.columns = static_cast<size_t>(columns);
    } else {
        shown.bytes = hex_bytes(shown.bytes);
        shown.columns = shown.bytes.size();
    }
    text.remove_prefix(next.length);
    return shown;
}

}  // namespace ravelo
