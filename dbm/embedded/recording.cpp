#include "dbm/embedded/recording.h"

#include <algorithm>
#include <cerrno>

#include "dbm/codes.h"
#include "dbm/embedded/snapshot_lines.h"

namespace dbm::embedded {

namespace {

outcome bad_line(const recording &tape, const line_fault &fault) {
    const uint32_t line = std::max(tape.lines.lines, uint32_t{1});  // an empty file has none
    return answered(sql::bad_recording, {tape.path, std::to_string(line), std::string(fault.text),
                                         std::string(fault.reason)});
}

// Two kinds of lines have a bare word in place of fields; it becomes a field without a name. False:
// the line is of another kind.
bool take_bare_word(std::string_view text, field_line &line) {
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

enum class read_status : uint8_t { line, end, failed };

// Reads the next line that says something into tape.line. before is where that line begins.
// failed: tape.failure says why.
read_status read_line(recording &tape, line_position *before) {
    std::span<char> line;
    while (true) {
        *before = position_of_next_line(tape.lines);
        switch (next_line(tape.lines, line)) {
            case line_status::end:
                return read_status::end;
            case line_status::too_long:
                tape.failure = bad_line(tape, {"the line", "is too long"});
                return read_status::failed;
            case line_status::failed:
                tape.failure =
                    answered(sql::file_unreadable, {tape.path, std::to_string(tape.lines.error)});
                return read_status::failed;
            case line_status::line:
                break;
        }
        const std::string_view text = without_blanks({line.data(), line.size()});
        if (text.empty() || text.front() == '#')
            continue;
        if (take_bare_word(text, tape.line))
            return read_status::line;
        line_fault fault;
        if (parse_fields(line, tape.line, fault))
            return read_status::line;
        tape.failure = bad_line(tape, fault);
        return read_status::failed;
    }
}

bool refuse(recording &tape, const line_fault &fault) {
    tape.failure = bad_line(tape, fault);
    return false;
}

// Goes back to a line. False: tape.failure says why.
bool go_back(recording &tape, const line_position &position) {
    if (go_to(tape.lines, position))
        return true;
    tape.failure = answered(sql::file_unreadable, {tape.path, std::to_string(tape.lines.error)});
    return false;
}

// Reads everything before the first snapshot. False: tape.failure says why.
bool read_header(recording &tape) {
    line_position before;
    read_status status = read_line(tape, &before);
    if (status == read_status::failed)
        return false;
    if (status == read_status::end || tape.line.word != "recording" ||
        bare_word(tape.line) != "1") {
        return refuse(tape, {"the file", "must begin with 'recording 1'"});
    }
    while (true) {
        status = read_line(tape, &before);
        if (status == read_status::failed)
            return false;
        if (status == read_status::end || tape.line.word != "result")
            break;
        line_fault fault;
        script_line parsed;
        if (!parse_script_line(tape.line, parsed, fault))
            return refuse(tape, fault);
        tape.script.push_back(std::move(parsed));
    }
    if (status == read_status::line && tape.line.word != "snapshot" && tape.line.word != "end")
        return refuse(tape, {tape.line.word, "does not belong before the first snapshot"});
    tape.first_snapshot = before;
    return go_back(tape, before);
}

// Reads the lines after a snapshot line, up to the next snapshot or the end. False: tape.failure
// says why.
bool read_applications(recording &tape) {
    while (true) {
        line_position before;
        const read_status status = read_line(tape, &before);
        if (status == read_status::failed)
            return false;
        const std::string_view word = tape.line.word;
        if (status == read_status::end || word == "snapshot" || word == "end")
            return go_back(tape, before);
        line_fault fault = {word, word == "result" ? "must stand before the first snapshot"
                                                   : "is not a line of a recording"};
        const bool understood = word == "application"
                                    ? add_application_line(tape.line, tape.snapshot, fault)
                                : word == "statement" || word == "other"
                                    ? add_subrecord_line(tape.line, tape.snapshot, fault)
                                    : false;
        if (!understood)
            return refuse(tape, fault);
    }
}

enum class ending : uint8_t { empty, repeat, unreachable };

// Reads what an 'end' line says and makes sure that nothing follows it. The line itself will be
// read again by the next call. False: tape.failure says why.
bool read_end(recording &tape, const line_position &end_line, ending *kind) {
    const std::string_view word = bare_word(tape.line);
    if (word == "empty") {
        *kind = ending::empty;
    } else if (word == "repeat") {
        *kind = ending::repeat;
    } else if (word == "unreachable") {
        *kind = ending::unreachable;
    } else {
        return refuse(tape, {tape.line.word, "must say empty, repeat or unreachable"});
    }
    line_position after;
    const read_status status = read_line(tape, &after);
    if (status == read_status::line)
        return refuse(tape, {tape.line.word, "stands after the end"});
    return status == read_status::end && go_back(tape, end_line);
}

outcome after_last(ending kind, const std::string &database) {
    return answered(kind == ending::unreachable ? sql::unreachable : sql::no_data, {database});
}

outcome read_snapshot(recording &tape, const std::string &database) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        line_position before;
        const read_status status = read_line(tape, &before);
        if (status == read_status::failed)
            return tape.failure;
        if (status == read_status::end)
            return after_last(ending::empty, database);
        if (tape.line.word == "snapshot") {
            line_fault fault;
            if (!parse_snapshot(tape.line, tape.snapshot, fault))
                return tape.failure = bad_line(tape, fault);
            if (!read_applications(tape))
                return tape.failure;
            tape.loaded = true;
            return {};
        }
        ending kind = ending::empty;
        if (!read_end(tape, before, &kind))
            return tape.failure;
        if (kind != ending::repeat)
            return after_last(kind, database);
        if (!go_back(tape, tape.first_snapshot))
            return tape.failure;
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
        } else if (!read_header(tape)) {
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
        return read_snapshot(tape, database);
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

}  // namespace dbm::embedded
