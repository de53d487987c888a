#include "tools/replay/replay_run.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "config/read_config.h"
#include "config/rules.h"
#include "daemon/attach.h"
#include "daemon/base/memory.h"
#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "daemon/clean_up.h"
#include "daemon/main_loop.h"
#include "govern/get_snapshot.h"
#include "govern/govern.h"
#include "govern/interface/constants.h"
#include "govern/interface/dbm.h"
#include "log/report.h"
#include "tools/replay/library.h"
#include "tools/replay/rule_texts.h"
#include "tools/replay/temporary_instance.h"

namespace ravelo::replay {
namespace {

constexpr uint32_t usual_snapshot = 65536;  // bytes

// Reads the rules as validate does: what is wrong with them is said on standard error.
int32_t read_rules(glob_struct *glob, summary &counts) {
    glob->validate_mode = 1;
    const int32_t outcome = read_config(glob);
    glob->validate_mode = 0;
    counts.rules = rule_texts(glob->rules_head);
    return outcome;
}

// The passes, between the records that a daemon begins and ends with.
int32_t govern_passes(glob_struct *glob, summary &counts) {
    int32_t outcome =
        report_event(glob, record_type::start, message::started, {text_of(glob->db_name)});
    if (outcome == result::ok)
        outcome = report_event(glob, record_type::readcfg, message::config_read,
                               {text_of(glob->cfg_file_name)});
    while (outcome == result::ok && !at_end() && !is_interrupted()) {
        outcome = govern(glob);
        counts.snapshots += at_end() ? 0 : 1;
    }
    return outcome == result::ok ? report_stop(glob) : outcome;
}

int32_t prepare(const replay_run &wanted, glob_struct *glob) {
    init_glob(glob);
    glob->snap_req_size = sizeof(snapshot_request);
    if (copy_text(glob->db_name, wanted.database) &&
        copy_text(glob->cfg_file_name, wanted.config) &&
        copy_text(glob->log_file_name, wanted.log) && allocate_record(&glob->snap_req) == 0)
        return result::ok;
    frame_on_stderr("a name is too long, or there is no memory");
    return result::usage;
}

int32_t run(replay_run &wanted, glob_struct *glob) {
    int32_t outcome = read_rules(glob, wanted.counts);
    if (outcome != result::ok)
        return outcome;
    skip_size_estimate(glob, usual_snapshot);
    begin(wanted.extent, wanted.every ? 0 : glob->interval,
          [&wanted](long number, const auto &tokens) {
              count_message(wanted.counts, number, tokens);
          });
    // As a daemon does, since it acts: the instance is the replay's own.
    std::array<char, dbm_path_room> directory{};
    (void)dbm_instance_path(dbm_current_instance, directory.data());  // attach says what is wrong
    outcome = attach(glob);
    return outcome == result::ok ? govern_passes(glob, wanted.counts) : outcome;
}

}  // namespace

int32_t govern_recording(replay_run &wanted) {
    static glob_struct glob;
    std::error_code no_log;
    const auto old_size = std::filesystem::file_size(wanted.log, no_log);
    int32_t outcome = prepare(wanted, &glob);
    if (outcome != result::ok)
        return outcome;
    outcome = set_up_library(&glob);
    if (outcome == result::ok)
        outcome = run(wanted, &glob);
    outcome = shut_down(&glob, outcome, true);
    std::ifstream log(wanted.log, std::ios::binary);
    if (!no_log)
        log.seekg(static_cast<std::streamoff>(old_size));  // what it held is not of this run
    for (std::string line; std::getline(log, line);)
        count_line(wanted.counts, line);
    return outcome;
}

}  // namespace ravelo::replay
