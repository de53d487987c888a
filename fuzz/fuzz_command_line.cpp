// The command line: words separated by newlines, in an instance directory that holds a rule file
// called "rules". A start goes as far as its first pass, which fails: there is nothing to govern.
#include <csignal>
#include <cstring>
#include <fstream>
#include <vector>

#include "config/rules.h"
#include "daemon/command_line.h"
#include "fuzz/input_file.h"
#include "govern/interface/constants.h"
#include "govern/interface/dbm.h"

using namespace ravelo;

namespace {

constexpr size_t most_words = 8;

// Words with which no path leads out of the folder.
std::vector<std::string> split(const uint8_t *data, size_t size) {
    std::vector<std::string> words(1);
    for (size_t i = 0; i < size && words.size() <= most_words; ++i) {
        const char c = static_cast<char>(data[i]);
        if (c == '\n')
            words.emplace_back();
        else if (c != '\0')
            words.back() += c == '/' ? '_' : c;
    }
    return words;
}

int32_t run(const std::vector<std::string> &texts) {
    static glob_struct glob;
    std::vector<const char *> words(texts.size());
    for (size_t i = 0; i < texts.size(); ++i)
        words[i] = texts[i].c_str();
    sigset_t signals;
    fuzz::require(sigprocmask(SIG_SETMASK, nullptr, &signals) == 0);
    const int32_t status = run_command(&glob, words);
    fuzz::require(signal(SIGTERM, SIG_DFL) != SIG_ERR && signal(SIGINT, SIG_DFL) != SIG_ERR &&
                  sigprocmask(SIG_SETMASK, &signals, nullptr) == 0);
    fuzz::require(std::strlen(glob.db_name) <= 8 && std::strlen(glob.log_file_name) <= 254);
    if (glob.status_handle != 0)
        (void)close(static_cast<int>(glob.status_handle));  // as the process's end does
    release_rules(&glob);
    (void)dbm_init_process(dbm_library_version);  // lets go of the catalogs
    fuzz::require(glob.log_handle == 0 && glob.snap_req == nullptr && glob.snap_buf == nullptr);
    return status;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::instance_directory here;
    for (const auto &left : std::filesystem::directory_iterator(here.path))
        std::filesystem::remove_all(left);
    std::filesystem::current_path(here.path);
    std::ofstream("rules") << "dbname sample; setlimit cpu 1;";
    const int32_t status = run(split(data, size));
    fuzz::require(status == 2 || (status <= 0 && status >= -9 && status != -5));
    if (exists(here.path / "tmp"))
        for (const auto &left : std::filesystem::directory_iterator("tmp"))
            fuzz::require(left.path().extension() == ".journal");
    return 0;
}
