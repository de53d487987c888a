// ravelo-replay: tells what a rule file would have done to a recording.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <getopt.h>
#include <string>
#include <vector>

#include "daemon/base/result.h"
#include "dbm/common/text.h"
#include "govern/interface/constants.h"
#include "tools/common/program.h"
#include "tools/common/safe_text.h"
#include "tools/replay/recording_check.h"
#include "tools/replay/replay_run.h"
#include "tools/replay/temporary_instance.h"

namespace ravelo::replay {
namespace {

struct settings {
    bool every = false, quiet = false;
    std::string log;  // empty: standard output
    std::string database, recording;
    std::vector<std::string> configs;  // one or two
};

int32_t read_command_line(int count, char **words, settings *wanted) {
    const option long_options[] = {{"all", no_argument, nullptr, 'a'},
                                   {"quiet", no_argument, nullptr, 'q'},
                                   {"log", required_argument, nullptr, 'l'},
                                   {}};
    int letter = 0;
    while ((letter = getopt_long(count, words, "aql:", long_options, nullptr)) != -1) {
        if (letter == 'a')
            wanted->every = true;
        else if (letter == 'q')
            wanted->quiet = true;
        else if (letter == 'l')
            wanted->log = optarg;
        else
            return program::show_usage();
    }
    words += optind;
    count -= optind;
    if (count != 3 && count != 4)
        return program::show_usage();
    wanted->database = dbm::upper_case(words[0]);
    wanted->configs.assign(1, words[1]);
    wanted->recording = words[2];
    if (count == 4)
        wanted->configs.emplace_back(words[3]);
    const bool named = wanted->database.size() <= dbm_longest_database && !wanted->database.empty();
    return named ? result::ok : program::show_usage();
}

// Copies a log to standard output. Names in it may hold what is not UTF-8.
void show_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    for (std::string line; std::getline(file, line);) {
        line = escaped(line) + "\n";
        (void)std::fwrite(line.data(), 1, line.size(), stdout);
    }
}

int32_t run(int count, char **words) {
    settings wanted;
    recording_extent extent;
    temporary_instance instance;
    int32_t outcome = read_command_line(count, words, &wanted);
    if (outcome == result::ok)
        outcome = check_recording(wanted.recording, &extent);
    if (outcome == result::ok)
        outcome = instance.set_up(wanted.recording, wanted.database);
    if (outcome != result::ok)
        return outcome;
    std::vector<replay_run> runs;
    for (const std::string &config : wanted.configs) {
        replay_run &each = runs.emplace_back();
        each.database = wanted.database;
        each.config = config;
        each.extent = extent;
        each.every = wanted.every;
        each.log = wanted.log.empty() ? instance.file("log" + std::to_string(runs.size()))
                                      : wanted.log + (runs.size() == 2 ? ".2" : "");
        outcome = govern_recording(each);
        if (wanted.log.empty() && !wanted.quiet)
            show_file(each.log);
        if (outcome != result::ok || is_interrupted())
            return outcome;
        print_summary(stdout, each.counts);
    }
    if (runs.size() == 2)
        print_difference(stdout, runs[0].counts, runs[1].counts);
    return std::fflush(stdout) == 0 ? result::ok : program::complain(std::strerror(errno));
}

}  // namespace
}  // namespace ravelo::replay

const char *const ravelo::program::name = "ravelo-replay";
const char *const ravelo::program::usage = "[-aq] [-l LOG] DATABASE CONFIG RECORDING [CONFIG2]";

int main(int argc, char **argv) {
    return ravelo::program::run(argc, argv, ravelo::replay::run);
}
