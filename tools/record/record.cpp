// ravelo-record: writes what a manager's snapshots show to a recording, until it is stopped.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

#include "daemon/attach.h"
#include "daemon/base/files.h"
#include "daemon/base/memory.h"
#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "daemon/clean_up.h"
#include "dbm/common/text.h"
#include "govern/get_snapshot.h"
#include "govern/interface/sql_codes.h"
#include "log/report.h"
#include "tools/common/program.h"
#include "tools/record/snapshot_text.h"

namespace ravelo::record {
namespace {

using program::complain;
using program::show_usage;

constexpr uint32_t usual_snapshot = 65536;  // bytes

struct settings {
    uint32_t interval = 10;  // seconds
    uint32_t count = 0;      // snapshots; 0: until stopped
    bool overwrite = false;
    std::string database, node, file;
};

bool read_number(const char *text, uint32_t most, uint32_t *number) {
    const auto value = dbm::number_in<uint32_t>(text, 1, most);
    *number = value.value_or(0);
    return value.has_value();
}

int32_t read_command_line(int count, char **words, settings *wanted) {
    int letter = 0;
    while ((letter = getopt(count, words, "fi:n:")) != -1) {
        if (letter == 'f')
            wanted->overwrite = true;
        else if (letter == 'i' ? !read_number(optarg, 86400, &wanted->interval)
                               : letter != 'n' || !read_number(optarg, UINT32_MAX, &wanted->count))
            return show_usage();
    }
    if (count - optind != 3)
        return show_usage();
    wanted->database = words[optind];
    wanted->node = words[optind + 1];
    wanted->file = words[optind + 2];
    return result::ok;
}

// Fills the state record that the daemon's own snapshot code works on. Reports go to standard
// error, as while a configuration is validated.
int32_t prepare(const settings &wanted, glob_struct *glob) {
    init_glob(glob);
    glob->validate_mode = 1;
    glob->uow_limit_used = 1;
    glob->stmt_info_used = 1;
    cut_text(glob->instance_name, "ravelod");
    if (!copy_text(glob->db_name, wanted.database) || wanted.database.empty() ||
        !dbm::parse_number(wanted.node, glob->node_num) || allocate_record(&glob->snap_req) != 0)
        return complain("DATABASE has at most 8 characters and NODE is a number up to 65535");
    dbm_to_upper(static_cast<int>(text_of(glob->db_name).size()), dbm_to_upper_mode, glob->db_name);
    glob->snap_req_size = sizeof(snapshot_request);
    fill_snapshot_request(glob);
    skip_size_estimate(glob, usual_snapshot);
    return result::ok;
}

int32_t open_recording(const settings &wanted, uint32_t *handle) {
    if (wanted.file == "-") {
        *handle = STDOUT_FILENO;
        return result::ok;
    }
    const int how = wanted.overwrite ? O_TRUNC : O_EXCL;
    // Without waiting for whoever may read a pipe, as stops wait until a snapshot is taken.
    const int fd =
        open(wanted.file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | how, 0640);
    const int code = fd < 0 || fcntl(fd, F_SETFL, 0) != 0 ? errno : 0;
    *handle = static_cast<uint32_t>(fd);
    if (code == 0)
        return result::ok;
    return complain(wanted.file + ": " + std::strerror(code) +
                    (code == EEXIST ? "; -f overwrites it" : ""));
}

// SIGINT and SIGTERM are only taken between two snapshots.
sigset_t stop_signals() {
    sigset_t stops;
    (void)sigemptyset(&stops);
    (void)sigaddset(&stops, SIGINT);
    (void)sigaddset(&stops, SIGTERM);
    return stops;
}

// Waits until the monotonic clock says next, or for a stop. True: stop.
bool wait_for_stop(const timespec &next) {
    const sigset_t stops = stop_signals();
    for (;;) {
        timespec now{};
        (void)clock_gettime(CLOCK_MONOTONIC, &now);  // can't fail with a valid clock
        timespec left{next.tv_sec - now.tv_sec, next.tv_nsec - now.tv_nsec};
        if (left.tv_nsec < 0)
            left = {left.tv_sec - 1, left.tv_nsec + 1000000000};
        if (left.tv_sec < 0)
            left = {};
        if (sigtimedwait(&stops, nullptr, &left) > 0)
            return true;
        if (errno == EAGAIN)
            return false;
    }
}

// The snapshot in the buffer as text. Results: 0; -4 it is malformed, which is said.
int32_t add_snapshot(const glob_struct *glob, std::string &text) {
    if (append_snapshot(text, glob->summary, {glob->snap_buf, glob->snap_buf_size}))
        return result::ok;
    (void)complain("the snapshot is malformed");
    return result::monitor;
}

// Says once, until the next snapshot, that there is none; of an unreachable database the snapshot
// code has said so.
void note_absence(const glob_struct *glob, bool *noted) {
    if (glob->api_sqlca.sqlcode == dbm_sql_no_data && !std::exchange(*noted, true))
        (void)complain("there is nothing to record at present; trying on");
}

// Writes a text whole. Results: 0; -2 it could not be written, which is said.
int32_t write_out(uint32_t handle, const std::string &text) {
    const int code = write_all(handle, text);
    if (code == 0)
        return result::ok;
    (void)complain(std::string("the recording can't be written: ") + std::strerror(code));
    return result::file;
}

int32_t record_snapshots(const settings &wanted, glob_struct *glob, uint32_t handle) {
    int32_t outcome = write_out(handle, first_line);
    bool absence_noted = false;
    timespec next{};
    (void)clock_gettime(CLOCK_MONOTONIC, &next);  // can't fail with a valid clock
    for (uint32_t taken = 0; outcome == result::ok;) {
        const int32_t got = get_snapshot(glob);
        if (got == result::ok) {
            std::string text;
            outcome = add_snapshot(glob, text);
            outcome = outcome == result::ok ? write_out(handle, text) : outcome;
            absence_noted = false;
            if (++taken == wanted.count)
                break;
        } else if (got == result::no_snapshot) {
            note_absence(glob, &absence_noted);
        } else {
            outcome = got;
        }
        next.tv_sec += wanted.interval;
        if (outcome == result::ok && wait_for_stop(next))
            break;
    }
    return outcome;
}

// Attaches, and tries again while the manager can't be connected to, which attach has said once.
// *stopped: a stop came first.
int32_t attach_in_time(const settings &wanted, glob_struct *glob, bool *stopped) {
    const int32_t outcome = attach(glob);
    timespec next{};
    (void)clock_gettime(CLOCK_MONOTONIC, &next);
    while (outcome != result::ok && glob->api_sqlca.sqlcode == dbm_sql_not_connected) {
        next.tv_sec += wanted.interval;
        *stopped = wait_for_stop(next);
        if (*stopped)
            return result::ok;
        if (dbm_attach(glob->instance_name, nullptr, nullptr, &glob->api_sqlca) == 0)
            return result::ok;
        if (glob->api_sqlca.sqlcode != dbm_sql_not_connected)
            report_manager_error(glob, location::main_attach, "DBATTACH");
    }
    return outcome;
}

int32_t record(const settings &wanted, glob_struct *glob, uint32_t handle) {
    bool stopped = false;
    int32_t outcome = attach_in_time(wanted, glob, &stopped);
    if (outcome == result::ok && !stopped)
        outcome = record_snapshots(wanted, glob, handle);
    const int32_t ended = clean_up(glob, clean_up_mode::at_end);
    return outcome != result::ok ? outcome : ended;
}

int32_t run(int count, char **words) {
    static glob_struct glob;
    settings wanted;
    int32_t outcome = read_command_line(count, words, &wanted);
    if (outcome != result::ok)
        return outcome;
    const sigset_t stops = stop_signals();
    (void)sigprocmask(SIG_BLOCK, &stops, nullptr);
    outcome = prepare(wanted, &glob);
    if (outcome == result::ok)
        outcome = set_up_library(&glob);
    uint32_t handle = 0;
    if (outcome == result::ok)
        outcome = open_recording(wanted, &handle);
    if (outcome != result::ok)
        return outcome;
    outcome = record(wanted, &glob, handle);
    const int closed = close_file(handle);
    if (closed == 0 || outcome != result::ok)
        return outcome;
    return complain(std::string("the recording can't be written: ") + std::strerror(closed));
}

}  // namespace
}  // namespace ravelo::record

const char *const ravelo::program::name = "ravelo-record";
const char *const ravelo::program::usage = "[-f] [-i SECONDS] [-n COUNT] DATABASE NODE FILE";

int main(int argc, char **argv) {
    return ravelo::program::run(argc, argv, ravelo::record::run);
}
