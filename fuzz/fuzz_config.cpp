// The configuration reader and the listing of what it has read, as a daemon writes it to the log
// and as validate shows it: both read alike.
#include "config/limits.h"
#include "config/read_config.h"
#include "config/rules.h"
#include "config/trace_config.h"
#include "daemon/base/text.h"
#include "fuzz/input_file.h"
#include "log/write_log.h"

using namespace ravelo;

namespace {

void check_rules(const glob_struct &glob) {
    fuzz::require(glob.interval > 0 && glob.interval <= 65535 && glob.debug_level <= 5);
    fuzz::require(glob.account_interval == 0 || glob.account_interval >= glob.interval);
    fuzz::require(glob.account_interval != 0 || glob.rules_head != nullptr);
    for (const config_restrict *rule = glob.rules_head; rule != nullptr; rule = rule->next) {
        fuzz::require(rule->next == nullptr || rule->next->line >= rule->line);
        fuzz::require(rule->time_set == (rule->start_time == rule->end_time ? 0 : 1));
        for (const int32_t time : {rule->start_time, rule->end_time})
            fuzz::require(time >= 0 && time <= 2359 && time % 100 <= 59);
        fuzz::require(rule->priority >= -20 && rule->priority <= 20);
        for (const limit_row &limit : limits)
            fuzz::require(rule->*limit.field >= no_limit);
    }
}

int32_t read_rules(const fuzz::memory_file &file, const fuzz::memory_file &log, bool validate) {
    static glob_struct glob;
    init_glob(&glob);
    glob.validate_mode = validate ? 1 : 0;
    cut_text(glob.db_name, "ORDERS");
    cut_text(glob.cfg_file_name, file.path());
    cut_text(glob.log_file_name, log.path());
    const int32_t outcome = read_config(&glob);
    fuzz::require(outcome == 0 || outcome == -7);
    fuzz::require(glob.cfg_stream == nullptr);
    if (outcome == 0)
        check_rules(glob);
    glob.debug_level = 5;
    fuzz::require(trace_config(&glob) == 0);
    release_rules(&glob);
    fuzz::require(glob.rules_head == nullptr && close_log(&glob) == 0);
    return outcome;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::memory_file file;
    static const fuzz::memory_file log;
    file.fill(data, size);
    log.fill("", 0);
    fuzz::require(read_rules(file, log, true) == read_rules(file, log, false));
    fuzz::check_log(log.content());
    return 0;
}
