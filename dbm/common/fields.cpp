#include "dbm/common/fields.h"

#include <charconv>
#include <cstddef>
#include <system_error>

#include "dbm/common/text.h"

namespace dbm {

namespace {

constexpr std::string_view hex_digits = "0123456789abcdef";

size_t skip_blanks(std::span<const char> line, size_t at) {
    while (at < line.size() && is_blank(line[at]))
        ++at;
    return at;
}

size_t skip_word(std::span<const char> line, size_t at) {
    while (at < line.size() && !is_blank(line[at]))
        ++at;
    return at;
}

// The value of the escape at line[at] (the byte after the backslash); at moves past it.
bool resolve_escape(std::span<const char> line, size_t &at, char &value) {
    if (at >= line.size())
        return false;
    const char kind = line[at++];
    switch (kind) {
        case '"':
        case '\\':
            value = kind;
            return true;
        case 'n':
            value = '\n';
            return true;
        case 'r':
            value = '\r';
            return true;
        case 't':
            value = '\t';
            return true;
        case 'x': {
            unsigned char byte = 0;
            const char *const digits = line.data() + at;
            if (line.size() - at < 2)
                return false;
            const auto [stop, error] = std::from_chars(digits, digits + 2, byte, 16);
            if (error != std::errc() || stop != digits + 2)
                return false;
            value = static_cast<char>(byte);
            at += 2;
            return true;
        }
        default:
            return false;
    }
}

// Reads the quoted value whose opening quote is at line[at]. Resolved text is never longer than
// its source, so it is written over it.
bool parse_quoted(std::span<char> line, size_t &at, std::string_view &value,
                  std::string_view &reason) {
    const size_t first = ++at;
    size_t used = first;
    while (at < line.size() && line[at] != '"') {
        char c = line[at++];
        if (c == '\\' && !resolve_escape(line, at, c)) {
            reason = "has an unknown escape";
            return false;
        }
        line[used++] = c;
    }
    if (at == line.size()) {
        reason = "has no closing quote";
        return false;
    }
    ++at;
    if (at < line.size() && !is_blank(line[at])) {
        reason = "goes on after its closing quote";
        return false;
    }
    value = {line.data() + first, used - first};
    return true;
}

}  // namespace

bool parse_fields(std::span<char> line, field_line &parsed, line_fault &fault) {
    parsed.word = {};
    parsed.fields.clear();
    size_t at = skip_blanks(line, 0);
    const size_t word_end = skip_word(line, at);
    parsed.word = {line.data() + at, word_end - at};
    at = skip_blanks(line, word_end);
    while (at < line.size()) {
        const size_t begin = at;
        while (at < line.size() && line[at] != '=' && !is_blank(line[at]))
            ++at;
        const std::string_view name(line.data() + begin, at - begin);
        if (at == line.size() || line[at] != '=' || name.empty()) {
            fault = {{line.data() + begin, skip_word(line, begin) - begin}, "is not name=value"};
            return false;
        }
        ++at;
        std::string_view value;
        if (at < line.size() && line[at] == '"') {
            if (!parse_quoted(line, at, value, fault.reason)) {
                fault.text = name;
                return false;
            }
        } else {
            const size_t value_begin = at;
            at = skip_word(line, at);
            value = {line.data() + value_begin, at - value_begin};
        }
        parsed.fields.push_back({name, value});
        at = skip_blanks(line, at);
    }
    return true;
}

void append_field(std::string &line, std::string_view name, std::string_view value) {
    if (!line.empty())
        line += ' ';
    line += name;
    line += '=';
    bool plain = !value.empty();
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        plain = plain && byte > 0x20 && byte < 0x7F && c != '"' && c != '\\';
    }
    if (plain) {
        line += value;
        return;
    }
    line += '"';
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            line += '\\';
            line += c;
        } else if (byte >= 0x20 && byte < 0x7F) {
            line += c;
        } else {
            line += "\\x";
            line += hex_digits[byte >> 4];
            line += hex_digits[byte & 0xF];
        }
    }
    line += '"';
}

}  // namespace dbm
