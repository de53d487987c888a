#include "tools/replay/temporary_instance.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace ravelo::replay {

temporary_instance::temporary_instance(const std::string &recording, const std::string &database) {
    std::error_code failed;
    std::string name = std::filesystem::temp_directory_path(failed) / "ravelo-replay-XXXXXX";
    if (failed || mkdtemp(name.data()) == nullptr)
        return;
    directory_ = name;
    std::filesystem::create_symlink(std::filesystem::absolute(recording, failed),
                                    directory_ + "/" + database + ".0.recording", failed);
    ready_ = !failed && setenv("DBM_INSTANCE", directory_.c_str(), 1) == 0;
}

temporary_instance::~temporary_instance() {
    std::error_code ignored;
    if (!directory_.empty())
        std::filesystem::remove_all(directory_, ignored);
}

}  // namespace ravelo::replay
