#include "dbm/journal.h"

#include <array>
#include <cerrno>

#include "dbm/codes.h"
#include "dbm/common/fields.h"
#include "dbm/common/files.h"
#include "dbm/common/text.h"
#include "dbm/instance.h"
#include "dbm/message_text.h"
#include "dbm/message_tokens.h"

namespace dbm {

namespace {

template <typename Number>
void append_number(std::string &line, std::string_view name, Number value) {
    append_field(line, name, std::to_string(value));
}

void append_text(std::string &line, const outcome &answer) {
    sqlca ca = {};
    fill_sqlca(&ca, answer);
    std::array<char, 1024> text = {};
    const size_t length = write_message(text, catalog_name::manager, ca);
    append_field(line, "error", {text.data(), length});
}

// Writes a line to the journal of the session's database.
int write_journal(const session &connection, std::string &line) {
    if (connection.database.empty())
        return ENOENT;
    const int unusable = prepare_tmp(current_instance());
    if (unusable != 0)
        return unusable;
    file_guard journal;
    const int problem = open_for_appending(journal_path(connection), journal, shared_mode);
    if (problem != 0)
        return problem;
    line += '\n';
    return write_line(journal.get(), line);
}

}  // namespace

std::string journal_path(const session &connection) {
    return tmp_file(
        current_instance(),
        connection.database + "." + std::to_string(connection.node.value_or(0)) + ".journal");
}

int note_action(const session &connection, const journal_entry &entry, const outcome &answer) {
    const agent *const known = entry.known;
    const auto text = [&](const auto &member) {
        return known != nullptr ? padded_text(known->*member) : std::string_view();
    };
    std::string line;
    append_number(line, "time", connection.snap_time);
    append_field(line, "operation", name_of(entry.which));
    append_number(line, "agent_id", entry.agent_id);
    append_field(line, "appl_id", text(&agent::appl_id));
    append_field(line, "applname", text(&agent::applname));
    append_field(line, "authid", text(&agent::authid));
    if (entry.priority)
        append_number(line, "priority", *entry.priority);
    append_number(line, "rc", answer.rc);
    append_number(line, "sqlcode", answer.sqlcode);
    const bool done = succeeded(answer) && !entry.observed && !entry.scripted;
    append_field(line, "done", done ? "yes" : "no");
    if (entry.observed)
        append_field(line, "observe", "yes");
    if (entry.scripted)
        append_field(line, "scripted", "yes");
    if (!entry.scripted && answer.sqlcode > 0 && answer.sqlcode != sql::agent_already_gone)
        append_text(line, answer);
    return write_journal(connection, line);
}

int note_failure(const session &connection, operation which, const outcome &answer) {
    std::string line;
    append_number(line, "time", connection.snap_time);
    append_field(line, "operation", name_of(which));
    append_number(line, "rc", answer.rc);
    append_number(line, "sqlcode", answer.sqlcode);
    append_text(line, answer);
    return write_journal(connection, line);
}

}  // namespace dbm
