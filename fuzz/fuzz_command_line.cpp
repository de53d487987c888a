// The command line: words separated by newlines, in a folder that holds a rule file called "rules".
// A start goes as far as attaching, which is refused.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "config/rules.h"
#include "daemon/command_line.h"
#include "fuzz/input_file.h"
#include "govern/dbm.h"

using namespace ravelo;

namespace {

constexpr size_t most_words = 8;
char folder[] = "/dev/shm/ravelo-fuzz-XXXXXX";

// The process's folder, empty but for the rules and the instance's tmp directory.
struct work_folder {
    work_folder() {
        fuzz::require(mkdtemp(folder) != nullptr && chdir(folder) == 0);
        std::ofstream("rules") << "dbname sample; setlimit cpu 1;";
        std::filesystem::create_directory("tmp");
    }
    ~work_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
};

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

}  // namespace

extern "C" {

int dbm_init_process(int) {
    return 0;
}
int dbm_user_authinfo(unsigned char, unsigned char, unsigned char, int, void *, sqlca *) {
    return 0;
}
int dbm_instance_path(int, char *path) {
    std::memcpy(path, folder, sizeof(folder));
    return 0;
}
int dbm_attach(const char *name, const char *, const char *, sqlca *ca) {
    fuzz::require(std::strlen(name) <= 9);
    return ca->sqlcode = -1;
}

}  // extern "C"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const work_folder here;
    static glob_struct glob;
    const std::vector<std::string> texts = split(data, size);
    std::vector<const char *> words(texts.size());
    for (size_t i = 0; i < texts.size(); ++i)
        words[i] = texts[i].c_str();
    const int32_t status = run_command(&glob, words);
    fuzz::require(status == -1 || status == 0 || status == 2 || (status >= -7 && status <= -2));
    fuzz::require(std::strlen(glob.db_name) <= 8 && std::strlen(glob.log_file_name) <= 254);
    if (glob.status_handle != 0)
        (void)close(static_cast<int>(glob.status_handle));  // as the process's end does
    release_rules(&glob);
    fuzz::require(glob.log_handle == 0 && std::filesystem::is_empty("tmp"));
    if (std::strcmp(glob.log_file_name, "rules") == 0)
        std::ofstream("rules") << "dbname sample; setlimit cpu 1;";
    else
        (void)unlink(glob.log_file_name);
    return 0;
}
