// The configuration reader and the listing of what it has read.
#include "config/read_config.h"
#include "config/rules.h"
#include "config/trace_config.h"
#include "fuzz/input_file.h"
#include "log/text.h"

using namespace ravelo;

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::memory_file file;
    static glob_struct glob;
    file.fill(data, size);
    init_glob(&glob);
    glob.validate_mode = 1;
    cut_text(glob.db_name, "SAMPLE");
    cut_text(glob.cfg_file_name, file.path());
    const int32_t outcome = read_config(&glob);
    fuzz::require(outcome == 0 || outcome == -7);
    fuzz::require(glob.cfg_stream == nullptr);
    if (outcome == 0) {
        fuzz::require(glob.interval > 0 && glob.debug_level <= 5);
        fuzz::require(trace_config(&glob) == 0);
    }
    release_rules(&glob);
    fuzz::require(glob.rules_head == nullptr);
    return 0;
}
