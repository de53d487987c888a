#include "tools/replay/recording_check.h"

#include "daemon/base/result.h"
#include "dbm/common/recording.h"
#include "tools/common/program.h"

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

int32_t check_recording(const std::string &path, recording_extent *found) {
    dbm::recording tape;
    dbm::outcome answer = dbm::open_recording(tape, path, "");
    uint32_t lines = 0;
    while (answer.sqlcode == 0) {
        answer = dbm::load_snapshot(tape, "");
        if (answer.sqlcode != 0 || tape.lines.lines <= lines)
            break;  // one that repeats itself goes back to lines that were read
        lines = tape.lines.lines;
        found->start = found->snapshots == 0 ? tape.snapshot.time : found->start;
        ++found->snapshots;
        tape.loaded = false;
    }
    if (answer.sqlcode != 0 && !is_ending(answer))
        return program::complain(describe(path, answer));
    return found->snapshots != 0 ? result::ok
                                 : program::complain(path + ": the recording holds no snapshot");
}

}  // namespace ravelo::replay
