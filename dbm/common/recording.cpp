#include "dbm/common/recording.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "dbm/common/snapshot_lines.h"
#include "dbm/common/text.h"

namespace dbm {

namespace {

outcome bad_line(const recording &tape, const line_fault &fault) {
    const uint32_t line = std::max(tape.lines.lines, uint32_t{1});  // an empty file has none
    return answered(sql::bad_recording, {tape.path, std::to_string(line), std::string(fault.text),
                                         std::string(fault.reason)});
}

// Two kinds of lines have a bare word in place of fields; it becomes a field without a name. False:
// the line is of another kind.
bool parse_bare_word(std::string_view text, field_line &line) {
    for (const std::string_view word : {"recording", "end"}) {
        if (text.starts_with(word) && text.size() > word.size() && is_blank(text[word.size()])) {
            line.word = word;
            line.fields.assign(1, {"", without_blanks(text.substr(word.size()))});
            return true;
        }
    }
    return false;
}

std::string_view bare_word(const field_line &line) {
    return line.fields.size() == 1 && line.fields.front().name.empty() ? line.fields.front().value
                                                                       : std::string_view();
}

outcome unreadable(const recording &tape) {
    return answered(sql::file_unreadable, {tape.path, std::to_string(tape.lines.error)});
}

// Reads the next line that says something into tape.line, whose word is empty at the file's end.
// before is where that line begins.
outcome read_line(recording &tape, line_position *before) {
    std::span<char> line;
    while (true) {
        *before = position_of_next_line(tape.lines);
        switch (next_line(tape.lines, line)) {
            case line_status::end:
                tape.line.word = {};
                return {};
            case line_status::too_long:
                return bad_line(tape, {"the line", "is too long"});
            case line_status::failed:
                return unreadable(tape);
            case line_status::line:
                break;
        }
        const std::string_view text = without_blanks({line.data(), line.size()});
        if (text.empty() || text.front() == '#')
            continue;
        if (parse_bare_word(text, tape.line))
            return {};
        line_fault fault;
        return parse_fields(line, tape.line, fault) ? outcome{} : bad_line(tape, fault);
    }
}

bool at_end(const recording &tape) {
    return tape.line.word.empty();
}

outcome go_back(recording &tape, const line_position &position) {
    return go_to(tape.lines, position) ? outcome{} : unreadable(tape);
}

// Reads everything before the first snapshot.
outcome read_header(recording &tape) {
    line_position before;
    if (outcome read = read_line(tape, &before); !succeeded(read))
        return read;
    if (tape.line.word != "recording" || bare_word(tape.line) != "1")
        return bad_line(tape, {"the file", "must begin with 'recording 1'"});
    while (true) {
        if (outcome read = read_line(tape, &before); !succeeded(read))
            return read;
        if (tape.line.word != "result")
            break;
        line_fault fault;
        script_line parsed;
        if (!parse_script_line(tape.line, parsed, fault))
            return bad_line(tape, fault);
        tape.script.push_back(std::move(parsed));
    }
    if (!at_end(tape) && tape.line.word != "snapshot" && tape.line.word != "end")
        return bad_line(tape, {tape.line.word, "does not belong before the first snapshot"});
    tape.first_snapshot = before;
    return go_back(tape, before);
}

// Reads the lines after a snapshot line, up to the next snapshot or the end.
outcome read_applications(recording &tape) {
    while (true) {
        line_position before;
        if (outcome read = read_line(tape, &before); !succeeded(read))
            return read;
        const std::string_view word = tape.line.word;
        if (at_end(tape) || word == "snapshot" || word == "end")
            return go_back(tape, before);
        line_fault fault = {word, word == "result" ? "must stand before the first snapshot"
                                                   : "is not a line of a recording"};
        const bool understood = word == "application"
                                    ? add_application_line(tape.line, tape.snapshot, fault)
                                : word == "statement" || word == "other"
                                    ? add_subrecord_line(tape.line, tape.snapshot, fault)
                                    : false;
        if (!understood)
            return bad_line(tape, fault);
    }
}

enum class ending : uint8_t { empty, repeat, unreachable };

// Reads what an 'end' line says and makes sure that nothing follows it. The line itself will be
// read again by the next call.
outcome read_end(recording &tape, const line_position &end_line, ending *kind) {
    const std::string_view word = bare_word(tape.line);
    if (word == "empty") {
        *kind = ending::empty;
    } else if (word == "repeat") {
        *kind = ending::repeat;
    } else if (word == "unreachable") {
        *kind = ending::unreachable;
    } else {
        return bad_line(tape, {tape.line.word, "must say empty, repeat or unreachable"});
    }
    line_position after;
    if (outcome read = read_line(tape, &after); !succeeded(read))
        return read;
    if (!at_end(tape))
        return bad_line(tape, {tape.line.word, "stands after the end"});
    return go_back(tape, end_line);
}

outcome after_last(ending kind, const std::string &database) {
    return answered(kind == ending::unreachable ? sql::unreachable : sql::no_data, {database});
}

outcome read_snapshot(recording &tape, const std::string &database) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        line_position before;
        if (outcome read = read_line(tape, &before); !succeeded(read))
            return read;
        if (at_end(tape))
            return after_last(ending::empty, database);
        if (tape.line.word == "snapshot") {
            line_fault fault;
            if (!parse_snapshot(tape.line, tape.snapshot, fault))
                return bad_line(tape, fault);
            outcome read = read_applications(tape);
            tape.loaded = succeeded(read);
            return read;
        }
        ending kind = ending::empty;
        if (outcome read = read_end(tape, before, &kind); !succeeded(read))
            return read;
        if (kind != ending::repeat)
            return after_last(kind, database);
        if (outcome gone_back = go_back(tape, tape.first_snapshot); !succeeded(gone_back))
            return gone_back;
    }
    return after_last(ending::empty, database);  // there is no snapshot to repeat
}

}  // namespace

outcome open_recording(recording &tape, const std::string &path, const std::string &database) {
    tape = recording{};
    try {
        const int opened = open_lines(tape.lines, path);
        tape.path = path;
        if (opened == ENOENT || opened == ENOTDIR) {
            tape.failure = answered(sql::database_unknown, {database, path});
        } else if (opened != 0) {
            tape.failure = answered(sql::file_unreadable, {path, std::to_string(opened)});
        } else {
            tape.failure = read_header(tape);
            if (!succeeded(tape.failure))
                tape.script.clear();
        }
        return tape.failure;
    } catch (...) {
        tape = recording{};
        throw;
    }
}

outcome load_snapshot(recording &tape, const std::string &database) {
    if (tape.failure.sqlcode != 0 || tape.loaded)
        return tape.failure;
    const line_position before = position_of_next_line(tape.lines);
    try {
        outcome result = read_snapshot(tape, database);
        if (result.sqlcode == sql::bad_recording || result.sqlcode == sql::file_unreadable)
            tape.failure = result;
        return result;
    } catch (...) {
        tape.loaded = false;
        (void)go_to(tape.lines, before);  // a failure shows when the line is read again
        throw;
    }
}

void rewind_recording(recording &tape) {
    tape.loaded = false;
    tape.snapshot = {};
    if (tape.failure.sqlcode == 0 && !tape.path.empty())
        (void)go_to(tape.lines, tape.first_snapshot);  // a failure shows when a line is read
}

}  // namespace dbm
