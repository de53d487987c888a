// ravelo-replay: tells what a rule file would have done to a recorded night.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <getopt.h>
#include <string>
#include <vector>

#include "daemon/files.h"
#include "tools/replay/night.h"
#include "tools/replay/recording_check.h"
#include "tools/replay/temporary_instance.h"

namespace ravelo::replay {
namespace {

struct settings {
    bool every = false, quiet = false;
    std::string log;  // empty: standard output
    std::string database, recording;
    std::vector<std::string> configs;  // one or two
};

constexpr const char *usage =
    "Usage: ravelo-replay [-aq] [-l LOG] DATABASE CONFIG RECORDING [CONFIG2]\n";

int complain(const std::string &text) {
    (void)std::fprintf(stderr, "ravelo-replay: %s\n", text.c_str());
    return 1;
}

// False: the words are not a command line.
bool read_command_line(int count, char **words, settings *wanted) {
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
            return false;
    }
    words += optind;
    count -= optind;
    if (count != 3 && count != 4)
        return false;
    wanted->database = words[0];
    std::transform(wanted->database.begin(), wanted->database.end(), wanted->database.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    wanted->configs.assign(1, words[1]);
    wanted->recording = words[2];
    if (count == 4)
        wanted->configs.emplace_back(words[3]);
    return wanted->database.size() <= 8 && !wanted->database.empty();
}

// Copies a file to standard output.
void show_file(const std::string &path) {
    FILE *const file = std::fopen(path.c_str(), "rbe");
    if (file == nullptr)
        return;  // a night without a record leaves none
    char piece[65536];
    for (size_t size = 0; (size = std::fread(piece, 1, sizeof(piece), file)) > 0;)
        (void)std::fwrite(piece, 1, size, stdout);
    (void)std::fclose(file);
}

int run(const settings &wanted) {
    uint32_t start = 0;
    const std::string problem = check_recording(wanted.recording, &start);
    if (!problem.empty())
        return complain(problem);
    const temporary_instance instance(wanted.recording, wanted.database);
    if (!instance.is_ready())
        return complain("no folder for temporary files could be made");
    std::vector<night> nights;
    for (const std::string &config : wanted.configs) {
        night &each = nights.emplace_back();
        each.database = wanted.database;
        each.config = config;
        each.start = start;
        each.every = wanted.every;
        each.log = wanted.log.empty() ? instance.file("log" + std::to_string(nights.size()))
                                      : wanted.log + (nights.size() == 2 ? ".2" : "");
        const int32_t outcome = govern_night(each);
        if (wanted.log.empty() && !wanted.quiet)
            show_file(each.log);
        if (outcome != 0 || is_interrupted())
            return outcome;
        print_summary(stdout, each.counts);
    }
    if (nights.size() == 2)
        print_difference(stdout, nights[0].counts, nights[1].counts);
    return std::fflush(stdout) == 0 ? 0 : complain(std::strerror(errno));
}

}  // namespace
}  // namespace ravelo::replay

int main(int argc, char **argv) {
    using namespace ravelo::replay;
    if (ravelo::guard_standard_streams() != 0)
        return 1;
    try {
        settings wanted;
        if (!read_command_line(argc, argv, &wanted)) {
            (void)std::fputs(usage, stderr);
            return 1;
        }
        return run(wanted);
    } catch (const std::exception &problem) {
        return complain(problem.what());
    }
}
