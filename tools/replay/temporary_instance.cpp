#include "tools/replay/temporary_instance.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "daemon/base/result.h"
#include "tools/common/program.h"

namespace ravelo::replay {
namespace {

constexpr std::array<int, 4> ending_signals{SIGINT, SIGTERM, SIGHUP, SIGPIPE};

}  // namespace

int32_t temporary_instance::set_up(const std::string &recording, const std::string &database) {
    sigset_t held;
    (void)sigemptyset(&held);
    for (const int number : ending_signals)
        (void)sigaddset(&held, number);
    (void)sigprocmask(SIG_BLOCK, &held, nullptr);
    std::error_code failed;
    std::string name = std::filesystem::temp_directory_path(failed) / "ravelo-replay-XXXXXX";
    if (!failed && mkdtemp(name.data()) != nullptr) {
        directory_ = name;
        std::filesystem::create_symlink(std::filesystem::absolute(recording, failed),
                                        directory_ + "/" + database + ".0.recording", failed);
        if (!failed && setenv("DBM_INSTANCE", directory_.c_str(), 1) == 0)
            return result::ok;
    }
    return program::complain("no folder for temporary files could be made");
}

temporary_instance::~temporary_instance() {
    std::error_code ignored;
    if (!directory_.empty())
        std::filesystem::remove_all(directory_, ignored);
    (void)sigprocmask(SIG_SETMASK, &signals_before_, nullptr);
}

bool is_interrupted() {
    sigset_t waiting;
    (void)sigpending(&waiting);
    for (const int number : ending_signals)
        if (sigismember(&waiting, number) == 1)
            return true;
    return false;
}

}  // namespace ravelo::replay
