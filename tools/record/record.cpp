// ravelo-record: writes what a manager's snapshots show to a recording, until it is stopped.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <new>
#include <string>
#include <unistd.h>
#include <utility>

#include "daemon/attach.h"
#include "daemon/clean_up.h"
#include "daemon/files.h"
#include "daemon/memory.h"
#include "daemon/result.h"
#include "dbm/fields.h"
#include "govern/get_snapshot.h"
#include "log/text.h"
#include "tools/record/snapshot_text.h"

namespace ravelo::record {
namespace {

struct settings {
    uint32_t interval = 10;  // seconds
    uint32_t count = 0;      // snapshots; 0: until stopped
    bool overwrite = false;
    std::string database, node, file;
};

constexpr const char *usage =
    "Usage: ravelo-record [-f] [-i SECONDS] [-n COUNT] DATABASE NODE FILE\n";

int complain(const std::string &text) {
    (void)std::fprintf(stderr, "ravelo-record: %s\n", text.c_str());
    return 1;
}

bool take_number(const char *text, uint32_t least, uint32_t most, uint32_t *number) {
    return dbm::parse_number(text, *number) && *number >= least && *number <= most;
}

// False: the words are not a command line.
bool read_command_line(int count, char **words, settings *wanted) {
    int letter = 0;
    while ((letter = getopt(count, words, "fi:n:")) != -1) {
        if (letter == 'f')
            wanted->overwrite = true;
        else if (letter == 'i'
                     ? !take_number(optarg, 1, 86400, &wanted->interval)
                     : letter != 'n' || !take_number(optarg, 1, UINT32_MAX, &wanted->count))
            return false;
    }
    if (count - optind != 3)
        return false;
    wanted->database = words[optind];
    wanted->node = words[optind + 1];
    wanted->file = words[optind + 2];
    return true;
}

// Fills the state record that the daemon's own snapshot code works on. Reports go to standard
// error, as while a configuration is validated. False: an argument is no good.
bool prepare(const settings &wanted, glob_struct *glob) {
    init_glob(glob);
    glob->validate_mode = 1;
    glob->uow_limit_used = 1;
    glob->stmt_info_used = 1;
    cut_text(glob->instance_name, "ravelod");
    if (!copy_text(glob->db_name, wanted.database) || wanted.database.empty() ||
        !dbm::parse_number(wanted.node, glob->node_num) || allocate_record(&glob->snap_req) != 0)
        return false;
    dbm_to_upper(static_cast<int>(text_of(glob->db_name).size()), 0, glob->db_name);
    glob->snap_req_size = sizeof(snapshot_request);
    fill_snapshot_request(glob);
    return true;
}

// Where the recording goes; null: it can't be opened, errno says why.
FILE *open_recording(const settings &wanted) {
    if (wanted.file == "-")
        return stdout;
    const int how = wanted.overwrite ? O_TRUNC : O_EXCL;
    const int fd = open(wanted.file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | how, 0640);
    return fd < 0 ? nullptr : fdopen(fd, "w");
}

// Writes a text and sees it out. False: it could not be written whole.
bool write_out(FILE *out, const std::string &text) {
    return std::fwrite(text.data(), 1, text.size(), out) == text.size() && std::fflush(out) == 0;
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
bool wait_for_stop(const sigset_t &stops, const timespec &next) {
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

// Takes one snapshot and writes it. Results: as get_snapshot, -2 when it can't be written. *away:
// the database was not there the last time, which is said once.
int32_t take_snapshot(glob_struct *glob, FILE *out, std::string &text, bool *away) {
    glob->summary = {};
    const int32_t taken = get_snapshot(glob);
    if (taken == result::no_snapshot) {
        if (!std::exchange(*away, true))
            (void)complain("there is nothing to record at present; trying on");
        return result::ok;
    }
    if (taken != result::ok)
        return taken;
    *away = false;
    if (glob->summary.snap_time == 0)  // the estimate found nothing: a moment without applications
        glob->summary.snap_time = static_cast<uint32_t>(time(nullptr));
    if (!append_snapshot(text, glob->summary,
                         {glob->snap_buf, glob->snap_buf != nullptr ? glob->snap_buf_size : 0})) {
        (void)complain("the snapshot is malformed");
        return result::monitor;
    }
    const bool written = write_out(out, text);
    text.clear();
    if (written)
        return result::ok;
    (void)complain(std::string("the recording can't be written: ") + std::strerror(errno));
    return result::file;
}

int32_t take_snapshots(const settings &wanted, glob_struct *glob, FILE *out) {
    const sigset_t stops = stop_signals();
    std::string text = first_line;
    timespec next{};
    (void)clock_gettime(CLOCK_MONOTONIC, &next);
    bool away = false;
    for (uint32_t taken = 1;; ++taken) {
        const int32_t outcome = take_snapshot(glob, out, text, &away);
        if (outcome != result::ok || taken == wanted.count)
            return outcome;
        next.tv_sec += wanted.interval;
        if (wait_for_stop(stops, next))
            return result::ok;
    }
}

int run(const settings &wanted) {
    static glob_struct glob;
    const sigset_t stops = stop_signals();
    (void)sigprocmask(SIG_BLOCK, &stops, nullptr);
    if (!prepare(wanted, &glob))
        return complain("DATABASE has at most 8 characters and NODE is a number up to 65535");
    int32_t outcome = set_up_library(&glob);
    if (outcome != result::ok)
        return outcome;
    FILE *const out = open_recording(wanted);
    if (out == nullptr)
        return complain(wanted.file + ": " + std::strerror(errno) +
                        (errno == EEXIST ? "; -f overwrites it" : ""));
    outcome = attach(&glob);
    if (outcome == result::ok)
        outcome = take_snapshots(wanted, &glob, out);
    const int32_t ended = clean_up(&glob, clean_up_mode::at_end);
    if (std::fclose(out) != 0 && outcome == result::ok)
        outcome = complain(std::string("the recording can't be written: ") + std::strerror(errno));
    return outcome != result::ok ? outcome : ended;
}

}  // namespace
}  // namespace ravelo::record

int main(int argc, char **argv) {
    using namespace ravelo::record;
    if (ravelo::guard_standard_streams() != 0)
        return 1;
    try {
        settings wanted;
        if (!read_command_line(argc, argv, &wanted)) {
            (void)std::fputs(usage, stderr);
            return 1;
        }
        return run(wanted);
    } catch (const std::bad_alloc &) {
        return complain("out of memory");
    }
}
