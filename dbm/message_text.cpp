#include "dbm/message_text.h"

#include <array>
#include <charconv>

#include "dbm/code_words.h"
#include "dbm/common/text.h"
#include "dbm/instance.h"
#include "dbm/message_tokens.h"

namespace dbm {

namespace {

// Text being written to a buffer of fixed size. Never writes its last byte, the terminator's.
struct text_writer {
    std::span<char> out;
    size_t used = 0;
    bool cut = false;
    size_t line = 0;  // where its last line begins
};

// Controls may be in two pieces until their line is whole.
void end_line(text_writer &writer) {
    blank_controls(writer.out.subspan(writer.line, writer.used - writer.line));
}

void add(text_writer &writer, std::string_view text) {
    for (const char c : text) {
        if (writer.used + 1 >= writer.out.size()) {
            writer.cut = true;
            return;
        }
        writer.out[writer.used++] = c;
    }
}

void add_number(text_writer &writer, int64_t number) {
    std::array<char, 24> digits = {};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    add(writer, {digits.data(), static_cast<size_t>(end - digits.data())});
}

// Takes away a character whose last bytes were cut off.
void drop_partial_character(text_writer &writer) {
    constexpr size_t longest_character = 4;
    for (size_t back = 1; back < longest_character && back <= writer.used; ++back) {
        const auto byte = static_cast<unsigned char>(writer.out[writer.used - back]);
        if (byte < 0x80)
            return;
        if (byte < 0xC0)
            continue;
        const size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
        if (length > back)
            writer.used -= back;
        return;
    }
}

size_t finish(text_writer &writer) {
    if (writer.cut)
        drop_partial_character(writer);
    end_line(writer);
    writer.out[writer.used] = '\0';
    return writer.used;
}

// Adds a token as it is. But a lone byte beyond ASCII, a character that a message is about, would
// be half a character of UTF-8: it is shown as \xHH.
void add_token(text_writer &writer, std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(text.empty() ? '\0' : text.front());
    if (text.size() != 1 || byte < 0x80) {
        add(writer, text);
        return;
    }
    const std::array<char, 4> shown = {'\\', 'x', digits[byte / 16], digits[byte % 16]};
    add(writer, {shown.data(), shown.size()});
}

std::string_view token(const message_view &message, size_t number) {
    return number >= 1 && number <= message.count ? message.tokens[number - 1] : std::string_view();
}

// The words for a code in the user's language; those given where no catalog has them.
std::string_view translated(int number, std::string_view words) {
    if (words.empty())
        return {};
    try {
        const auto value = static_cast<uint32_t>(number);
        const std::string_view text =
            catalog_message(catalog_name::words, number < 0 ? 0 - value : value);
        return text.empty() ? words : text;
    } catch (...) {
        return words;  // without memory for the catalogs
    }
}

void add_error(text_writer &writer, std::string_view text) {
    add(writer, text);
    int number = 0;
    if (!parse_number(text, number))
        return;
    const code_words known = words_of_error(number);
    if (known.words.empty())
        return;
    add(writer, " (");
    add(writer, known.name);
    add(writer, known.name.empty() ? "" : ", ");
    add(writer, translated(number, known.words));
    add(writer, ")");
}

void add_sqlcode(text_writer &writer, std::string_view text) {
    add(writer, text);
    int number = 0;
    if (!parse_number(text, number))
        return;
    const std::string_view words = translated(number, words_of_sqlcode(number));
    if (words.empty())
        return;
    add(writer, " (");
    add(writer, words);
    add(writer, ")");
}

void add_instance(text_writer &writer) {
    try {
        add(writer, current_instance().directory);
    } catch (...) {
        add(writer, "the instance directory");
    }
}

// Puts in what a placeholder in braces means. False: none that is known.
bool add_named(text_writer &writer, std::string_view name, const message_view &message) {
    if (name == "instance") {
        add_instance(writer);
        return true;
    }
    if (name == "newline") {
        end_line(writer);
        add(writer, "\n");
        if (!writer.cut)
            writer.line = writer.used;
        return true;
    }
    const size_t blank = name.find(' ');
    const std::string_view kind = name.substr(0, blank);
    size_t number = 0;
    if (blank == std::string_view::npos || !parse_number(name.substr(blank + 1), number) ||
        number < 1 || number > dbm_most_tokens)
        return false;
    if (kind == "error") {
        add_error(writer, token(message, number));
    } else if (kind == "sql") {
        add_sqlcode(writer, token(message, number));
    } else {
        return false;
    }
    return true;
}

// Puts in the placeholder at the start of text and returns its length; 0: it is none.
size_t add_placeholder(text_writer &writer, std::string_view text, const message_view &message) {
    if (text.size() >= 3 && text[1] == '1' && (text[2] == '0' || text[2] == '1')) {
        add_token(writer, token(message, text[2] == '0' ? 10 : 11));
        return 3;
    }
    if (text.size() >= 2 && text[1] >= '1' && text[1] <= '9') {
        add_token(writer, token(message, static_cast<size_t>(text[1] - '0')));
        return 2;
    }
    const size_t end = text.find('}');
    if (text.size() >= 2 && text[1] == '{' && end != std::string_view::npos &&
        add_named(writer, text.substr(2, end - 2), message))
        return end + 1;
    return 0;
}

void add_catalog_text(text_writer &writer, std::string_view text, const message_view &message) {
    while (!text.empty() && !writer.cut) {
        const size_t percent = text.find('%');
        add(writer, text.substr(0, percent));
        if (percent == std::string_view::npos)
            return;
        text.remove_prefix(percent);
        size_t taken = add_placeholder(writer, text, message);
        if (taken == 0) {
            // A doubled sign stays together: what follows it is no placeholder.
            taken = text.starts_with("%%") ? 2 : 1;
            add(writer, text.substr(0, taken));
        }
        text.remove_prefix(taken);
    }
}

// The part of a catalog text that fits the number of tokens: "A%{or N}B" is A with N tokens or more
// and B with fewer.
std::string_view fitting_part(std::string_view text, const message_view &message) {
    constexpr std::string_view mark = "%{or ";
    const size_t at = text.find(mark);
    const size_t end = text.find('}', at);
    size_t number = 0;
    if (at == std::string_view::npos || end == std::string_view::npos ||
        !parse_number(text.substr(at + mark.size(), end - at - mark.size()), number))
        return text;
    return message.count >= number ? text.substr(0, at) : text.substr(end + 1);
}

void add_bare_message(text_writer &writer, catalog_name which, int32_t number,
                      const message_view &message) {
    add(writer, which == catalog_name::daemon ? "Message " : "SQL code ");
    add_number(writer, number);
    for (size_t i = 0; i < message.count; ++i) {
        add(writer, i == 0 ? ": " : ", ");
        add_token(writer, message.tokens[i]);
    }
}

std::string_view text_for(catalog_name which, int32_t sqlcode) {
    const auto value = static_cast<uint32_t>(sqlcode);
    const bool negative = sqlcode < 0;
    if (negative && which == catalog_name::daemon)
        return {};
    try {
        return catalog_message(which, negative ? 0 - value : value);
    } catch (...) {
        return {};  // without memory for the catalogs the message is shown bare
    }
}

}  // namespace

size_t write_message(std::span<char> buffer, catalog_name which, const sqlca &ca) noexcept {
    if (buffer.empty())
        return 0;
    const message_view message = message_of(ca);
    if (message.text)
        return write_plain(buffer, *message.text);
    text_writer writer = {buffer};
    const std::string_view text = text_for(which, ca.sqlcode);
    if (text.empty()) {
        add_bare_message(writer, which, ca.sqlcode, message);
    } else {
        add_catalog_text(writer, fitting_part(text, message), message);
    }
    return finish(writer);
}

size_t write_plain(std::span<char> buffer, std::string_view text) noexcept {
    if (buffer.empty())
        return 0;
    text_writer writer = {buffer};
    add(writer, text);
    return finish(writer);
}

}  // namespace dbm
