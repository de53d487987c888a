#include "config/get_token.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "log/report.h"

namespace ravelo {
namespace {

constexpr size_t longest_token = token_size - 1;

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

bool is_separator(char c) {
    return c == ';' || c == ',';
}

bool is_quote(char c) {
    return c == '"' || c == '\'';
}

// Letters and digits are those of ASCII, whatever the locale.
bool is_token_character(char c) {
    constexpr std::string_view punctuation = "$#@_-:.";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           (c != '\0' && punctuation.find(c) != std::string_view::npos);
}

enum class read_status { ok, end_of_file, failed };

read_status read_byte(glob_struct *glob, char &c) {
    const int byte = std::getc(glob->cfg_stream);
    if (byte == EOF)
        return std::ferror(glob->cfg_stream) != 0 ? read_status::failed : read_status::end_of_file;
    c = static_cast<char>(byte);
    return read_status::ok;
}

// One byte of push-back never fails behind a byte that was just read.
void push_back(glob_struct *glob, char c) {
    (void)std::ungetc(static_cast<unsigned char>(c), glob->cfg_stream);
}

int32_t fail_read(glob_struct *glob, location where) {
    report_error(glob, where, message::config_read_error,
                 {decimal(glob->msg_token, glob->cfg_line)});
    return result::file;
}

int32_t fail_unended(glob_struct *glob, location where, int32_t begun_on) {
    report_error(glob, where, message::text_not_ended, {decimal(glob->msg_token, begun_on)});
    return result::config;
}

int32_t fail_long(glob_struct *glob, location where, message number, const char *text) {
    report_text_with(glob, number, {decimal(glob->msg_token, glob->cfg_line)}, text);
    report_error_text(glob, where);
    return result::config;
}

int32_t fail_character(glob_struct *glob, char c) {
    (void)std::snprintf(glob->msg_token, sizeof(glob->msg_token), "%c", c);  // one character
    report_error(glob, location::token_character, message::invalid_character,
                 {text_of(glob->msg_token), decimal(glob->msg_token2, glob->cfg_line)});
    return result::config;
}

// Drops a comment up to its closing brace; the opening one has been read.
int32_t skip_comment(glob_struct *glob) {
    const int32_t begun_on = glob->cfg_line;
    for (;;) {
        char c = '\0';
        switch (read_byte(glob, c)) {
            case read_status::end_of_file:
                return fail_unended(glob, location::comment_end_of_file, begun_on);
            case read_status::failed:
                return fail_read(glob, location::comment_read);
            case read_status::ok:
                break;
        }
        if (c == '}')
            return result::ok;
        if (c == '\n')
            ++glob->cfg_line;
    }
}

// Reads a quoted string up to its closing quote; the opening one has been read. Everything between
// the quotes is literal, but a newline becomes a blank.
int32_t read_string(glob_struct *glob, char quote, char (&token)[token_size]) {
    const int32_t begun_on = glob->cfg_line;
    for (size_t n = 0;; ++n) {
        char c = '\0';
        switch (read_byte(glob, c)) {
            case read_status::end_of_file:
                return fail_unended(glob, location::string_end_of_file, begun_on);
            case read_status::failed:
                return fail_read(glob, location::string_read);
            case read_status::ok:
                break;
        }
        if (c == quote)
            return result::ok;
        if (n == longest_token)
            return fail_long(glob, location::string_long, message::string_long, token);
        if (c == '\n') {
            ++glob->cfg_line;
            c = ' ';
        }
        token[n] = c;
    }
}

}  // namespace

int32_t get_token(glob_struct *glob, char (&token)[token_size]) {
    std::memset(token, 0, sizeof(token));
    size_t n = 0;
    for (;;) {
        char c = '\0';
        const read_status status = read_byte(glob, c);
        if (n > longest_token) {
            token[longest_token] = '\0';
            return fail_long(glob, location::token_long, message::token_long, token);
        }
        if (status == read_status::end_of_file)
            return result::end_of_file;
        if (status == read_status::failed)
            return fail_read(glob, location::token_read);

        if (c == '\n' || is_quote(c) || is_separator(c)) {
            if (n > 0) {
                push_back(glob, c);
                return result::ok;
            }
            if (is_quote(c))
                return read_string(glob, c, token);
            if (is_separator(c)) {
                token[0] = c;
                return result::ok;
            }
            ++glob->cfg_line;
        } else if (is_blank(c)) {
            if (n > 0)
                return result::ok;
        } else if (c == '{') {
            const int32_t skipped = skip_comment(glob);
            if (skipped != result::ok)
                return skipped;
        } else if (is_token_character(c)) {
            token[n++] = c;
        } else {
            return fail_character(glob, c);
        }
    }
}

}  // namespace ravelo
