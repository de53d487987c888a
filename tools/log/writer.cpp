#include "tools/log/writer.h"

#include <cstdio>

namespace ravelo::logview {

std::string short_text(const record &read) {
    if (read.accounted)
        return std::to_string(read.user_cpu) + " s user, " + std::to_string(read.system_cpu) +
               " s system CPU";
    if (read.rule) {
        std::string text = "rule " + std::to_string(*read.rule);
        if (read.priority)
            text += ", priority " + std::to_string(*read.priority);
        return text + ": " + std::string(read.reason);
    }
    std::string text(read.text);
    if (!read.location)
        return text;
    std::string placed = "(";
    placed += std::to_string(*read.location);
    return placed += ") " + text;
}

void put(std::string_view text) {
    (void)std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace ravelo::logview
