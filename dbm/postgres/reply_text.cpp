#include "dbm/postgres/reply_text.h"

#include <algorithm>

namespace dbm::postgres {

namespace {

constexpr size_t longest_text = 300;
constexpr size_t sqlstate_length = 5;
constexpr std::string_view before_sqlstate = ":  ";  // follows the severity, in every language

bool is_sqlstate_character(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z');
}

// Where the last SQLSTATE of a verbose message begins; npos: it has none.
size_t find_sqlstate(std::string_view text) {
    size_t at = text.rfind(before_sqlstate);
    while (at != std::string_view::npos) {
        const size_t begin = at + before_sqlstate.size();
        const std::string_view code = text.substr(begin, sqlstate_length);
        if (code.size() == sqlstate_length &&
            std::all_of(code.begin(), code.end(), is_sqlstate_character) &&
            text.substr(begin + sqlstate_length).starts_with(": "))
            return begin;
        if (at == 0)
            break;
        at = text.rfind(before_sqlstate, at - 1);
    }
    return std::string_view::npos;
}

bool continues_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

}  // namespace

std::string one_line(const char *text) {
    const std::string_view whole = text != nullptr ? text : "";
    std::string line(whole.substr(0, whole.find('\n')));
    if (const size_t code = find_sqlstate(line); code != std::string::npos)
        line.erase(code, sqlstate_length + 2);
    if (line.size() > longest_text) {
        size_t end = longest_text;
        while (end > 0 && continues_character(line[end]))
            --end;
        line.resize(end);
    }
    return line;
}

std::string sqlstate_in(std::string_view text) {
    const size_t begin = find_sqlstate(text);
    return begin != std::string_view::npos ? std::string(text.substr(begin, sqlstate_length))
                                           : std::string();
}

}  // namespace dbm::postgres
