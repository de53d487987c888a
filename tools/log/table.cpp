#include <algorithm>
#include <climits>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "tools/common/safe_text.h"
#include "tools/log/civil_time.h"
#include "tools/log/writer.h"

namespace ravelo::logview {
namespace {

constexpr size_t time_width = 19;
constexpr size_t node_width = 4;
constexpr size_t type_width = 8;
constexpr size_t wide = 110;   // from here on there is room for all columns
constexpr size_t narrow = 64;  // below, the text goes to lines of its own
constexpr size_t indent = 4;   // of those lines
constexpr size_t endless = SIZE_MAX;

size_t terminal_width() {
    if (isatty(STDOUT_FILENO) == 0)
        return endless;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return std::max<size_t>(size.ws_col, 20);
    return 80;
}

bool wants_colour(colour when) {
    if (when != colour::automatic)
        return when == colour::always;
    const char *const refused = std::getenv("NO_COLOR");
    const char *const terminal = std::getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && (refused == nullptr || *refused == '\0') &&
           (terminal == nullptr || std::string_view(terminal) != "dumb");
}

// Codes that a terminal of a light and of a dark background shows well.
const char *colour_of(std::string_view type) {
    if (type == "ERROR")
        return "\x1B[1;31m";
    if (type == "FORCE")
        return "\x1B[31m";
    if (type == "WARNING")
        return "\x1B[33m";
    if (type == "NICE" || type == "SCHEDGRP")
        return "\x1B[36m";
    return type == "START" || type == "STOP" || type == "READCFG" ? "\x1B[32m" : nullptr;
}

class table_writer : public writer {
  public:
    explicit table_writer(const options &asked)
        : width_(asked.width != 0 ? asked.width : terminal_width()),
          coloured_(wants_colour(asked.colours)),
          utf8_(std::string_view(nl_langinfo(CODESET)) == "UTF-8"),
          name_width_(width_ >= wide ? 20 : 12),
          text_at_(width_ < narrow ? indent
                                   : time_width + type_width + 2 * name_width_ + 4 +
                                         (width_ >= wide ? node_width + 1 : 0)) {}

    void add(const record &read) override {
        if (!begun_)
            heading();
        line_.clear();
        column_ = 0;
        cell(read.time ? show_time(*read.time) : "(no time)", time_width);
        if (width_ >= wide)
            cell(std::to_string(read.node), node_width, nullptr, true);
        cell(read.type, type_width, colour_of(read.type));
        const bool named = !read.application.empty() || !read.authid.empty();
        if (named) {
            cell(read.application, name_width_);
            cell(read.authid, name_width_);
        }
        // A text without names begins where they would.
        const size_t margin = width_ < narrow ? indent : named ? text_at_ : column_;
        if (width_ < narrow)
            break_line(indent);
        wrapped(short_text(read), margin);
        end_line();
    }

    void finish(uint64_t) override {}

  private:
    void heading() {
        begun_ = true;
        const char *const style = coloured_ ? "\x1B[1m" : nullptr;
        cell("TIME", time_width, style);
        if (width_ >= wide)
            cell("NODE", node_width, style);
        cell("TYPE", type_width, style);
        cell("APPLICATION", name_width_, style);
        if (column_ + name_width_ <= width_)
            cell("AUTHID", name_width_, style);
        if (width_ >= narrow)
            cell("WHAT", 4, style);
        end_line();
    }

    // Appends a text cut and filled to its width, and a blank.
    void cell(std::string_view text, size_t width, const char *style = nullptr,
              bool right = false) {
        if (style != nullptr && coloured_)
            line_ += style;
        std::string shown;
        size_t used = 0;
        while (!text.empty()) {
            const shown_character next = next_shown(text, utf8_);
            if (used + next.columns > width && width_ != endless)
                break;
            shown += next.bytes;
            used += next.columns;
        }
        const std::string fill(width - std::min(width, used), ' ');
        line_ += right ? fill + shown : shown;
        if (style != nullptr && coloured_)
            line_ += "\x1B[0m";
        line_ += right ? " " : fill + " ";
        column_ += std::max(width, used) + 1;
    }

    // Appends a text, breaking it at blanks, or within words that are too long for a line.
    void wrapped(std::string_view text, size_t margin) {
        while (!text.empty()) {
            const size_t blank = std::min(text.find(' '), text.size());
            std::string_view word = text.substr(0, blank);
            text.remove_prefix(std::min(blank + 1, text.size()));
            if (column_ > margin && column_ + columns_of(word) > width_)
                break_line(margin);
            while (!word.empty()) {
                const shown_character next = next_shown(word, utf8_);
                if (column_ > margin && column_ + next.columns > width_)
                    break_line(margin);
                line_ += next.bytes;
                column_ += next.columns;
            }
            if (!text.empty() && column_ < width_) {
                line_ += ' ';
                ++column_;
            }
        }
    }

    [[nodiscard]] size_t columns_of(std::string_view word) const {
        size_t columns = 0;
        while (!word.empty())
            columns += next_shown(word, utf8_).columns;
        return columns;
    }

    void break_line(size_t margin) {
        end_line();
        line_.assign(margin, ' ');
        column_ = margin;
    }

    void end_line() {
        line_.erase(line_.find_last_not_of(' ') + 1);
        line_ += '\n';
        put(line_);
    }

    size_t width_;
    bool coloured_, utf8_;
    size_t name_width_, text_at_;
    bool begun_ = false;
    std::string line_;
    size_t column_ = 0;  // of the terminal, where the line ends
};

}  // namespace

std::unique_ptr<writer> make_table(const options &asked) {
    return std::make_unique<table_writer>(asked);
}

}  // namespace ravelo::logview
