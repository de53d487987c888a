#include "dbm/postgres/kept_priorities.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <span>
#include <unistd.h>
#include <utility>

#include "dbm/common/fields.h"
#include "dbm/common/files.h"
#include "dbm/common/line_reader.h"
#include "dbm/common/text.h"

namespace dbm::postgres {

namespace {

// The whole file is read and written by one process, which holds it small; a longer one is foreign.
constexpr size_t most_lines = 1'000'000;
constexpr std::string_view set_word = "set";
constexpr std::string_view done_word = "done";

void append_number(std::string &line, std::string_view name, auto value) {
    append_field(line, name, std::to_string(value));
}

std::string line_of(std::string_view word, const changed_process &change) {
    std::string line(word);
    append_number(line, "pid", change.pid);
    append_number(line, "start", change.start);
    return line;
}

std::string change_line(const changed_process &change, int set) {
    std::string line = line_of(set_word, change);
    append_number(line, "nice", change.nice);
    if (change.group_nice)
        append_number(line, "group", *change.group_nice);
    append_number(line, "to", set);
    line += '\n';
    return line;
}

int append(const std::string &path, const std::string &line) {
    file_guard file;
    const int opened = open_for_appending(path, file);
    return opened != 0 ? opened : write_line(file.get(), line);
}

// What one line says. done: it was given back.
struct kept_line {
    changed_process change;
    bool done = false;
};

template <typename Number>
bool number_in(const field_line &parsed, std::string_view name, Number &value) {
    const auto found = std::find_if(parsed.fields.begin(), parsed.fields.end(),
                                    [&](const field &f) { return f.name == name; });
    return found != parsed.fields.end() && parse_number(found->value, value);
}

bool parse_line(std::span<char> line, kept_line &entry) {
    field_line parsed;
    line_fault fault;
    int set = 0;
    int group = 0;
    changed_process &change = entry.change;
    if (!parse_fields(line, parsed, fault) || !number_in(parsed, "pid", change.pid) ||
        !number_in(parsed, "start", change.start) || change.pid <= 0)
        return false;
    change.leader = change.pid;
    entry.done = parsed.word == done_word;
    if (entry.done)
        return true;
    if (parsed.word != set_word || !number_in(parsed, "nice", change.nice) ||
        !number_in(parsed, "to", set))
        return false;
    if (number_in(parsed, "group", group))
        change.group_nice = group;
    change.set.push_back(set);
    return true;
}

void apply_line(kept_line &&entry, std::vector<changed_process> &kept) {
    const auto known = std::find_if(kept.begin(), kept.end(), [&](const changed_process &c) {
        return c.pid == entry.change.pid && c.start == entry.change.start;
    });
    if (entry.done) {
        if (known != kept.end())
            kept.erase(known);
    } else if (known == kept.end()) {
        kept.push_back(std::move(entry.change));
    } else if (std::find(known->set.begin(), known->set.end(), entry.change.set[0]) ==
               known->set.end()) {
        known->set.push_back(entry.change.set[0]);
    }
}

}  // namespace

int read_kept(const std::string &path, std::vector<changed_process> &kept) {
    kept.clear();
    line_reader reader;
    const int opened = open_lines(reader, path);
    if (opened != 0)
        return opened == ENOENT ? 0 : opened;
    std::span<char> line;
    for (size_t i = 0; i < most_lines; ++i) {
        switch (next_line(reader, line)) {
            case line_status::end:
                return 0;
            case line_status::failed:
                return reader.error;
            case line_status::too_long:
                return EFBIG;
            case line_status::line:
                if (kept_line entry; parse_line(line, entry))
                    apply_line(std::move(entry), kept);
        }
    }
    return EFBIG;
}

int keep_change(const std::string &path, const changed_process &change) {
    return append(path, change_line(change, change.set.back()));
}

int keep_return(const std::string &path, const changed_process &change) {
    std::string line = line_of(done_word, change);
    line += '\n';
    return append(path, line);
}

int rewrite_kept(const std::string &path, const std::vector<changed_process> &kept) {
    if (kept.empty())
        return unlink(path.c_str()) == 0 || errno == ENOENT ? 0 : errno;
    std::string text;
    for (const changed_process &each : kept) {
        for (const int set : each.set)
            text += change_line(each, set);
    }
    const std::string beside = path + ".new";
    (void)unlink(beside.c_str());  // left by one that was killed meanwhile
    const int written = append(beside, text);
    if (written != 0)
        return written;
    return rename(beside.c_str(), path.c_str()) == 0 ? 0 : errno;
}

}  // namespace dbm::postgres
