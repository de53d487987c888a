#include "tools/replay/recording_check.h"

#include <cstring>

#include "dbm/codes.h"
#include "dbm/embedded/recording.h"

namespace ravelo::replay {
namespace {

std::string describe(const std::string &path, const dbm::outcome &answer) {
    const auto &tokens = answer.tokens;
    if (answer.sqlcode == dbm::sql::bad_recording && tokens.size() == 4)
        return path + ":" + tokens[1] + ": " + tokens[2] + " " + tokens[3];
    if (answer.sqlcode == dbm::sql::database_unknown)
        return path + ": there is no such file";
    if (answer.sqlcode == dbm::sql::file_unreadable && tokens.size() == 2)
        return path + ": the file can't be read (error " + tokens[1] + ")";
    return path + ": the recording can't be played (" + std::to_string(answer.sqlcode) + ")";
}

// Whether that is how a recording may end.
bool is_ending(const dbm::outcome &answer) {
    return answer.sqlcode == dbm::sql::no_data || answer.sqlcode == dbm::sql::unreachable;
}

}  // namespace

std::string check_recording(const std::string &path, uint32_t *start) {
    dbm::embedded::recording tape;
    dbm::outcome answer = dbm::embedded::open_recording(tape, path, "");
    uint32_t lines = 0;
    // One that repeats itself goes back to lines that were read.
    while (answer.sqlcode == 0 && tape.lines.lines >= lines) {
        const bool first = lines == 0;
        lines = tape.lines.lines + 1;
        answer = dbm::embedded::load_snapshot(tape, "");
        if (first && answer.sqlcode != 0 && is_ending(answer))
            return path + ": the recording holds no snapshot";
        if (first)
            *start = tape.snapshot.time;
        tape.loaded = false;
    }
    return answer.sqlcode == 0 || is_ending(answer) ? "" : describe(path, answer);
}

}  // namespace ravelo::replay
