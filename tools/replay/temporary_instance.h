// An instance directory whose only recording is the one to be replayed.
#pragma once

#include <csignal>
#include <cstdint>
#include <string>

namespace ravelo::replay {

// Made in the folder for temporary files, removed at the end. Signals that would end the program
// wait until then.
class temporary_instance {
  public:
    temporary_instance() { (void)sigprocmask(SIG_BLOCK, nullptr, &signals_before_); }
    ~temporary_instance();
    temporary_instance(const temporary_instance &) = delete;
    temporary_instance &operator=(const temporary_instance &) = delete;

    // Makes it; the client library then works with it. To be called once. Results: 0;
    // program::failed, which is said.
    [[nodiscard]] int32_t set_up(const std::string &recording, const std::string &database);
    // The path of a file of the directory.
    [[nodiscard]] std::string file(const std::string &name) const {
        return directory_ + "/" + name;
    }

  private:
    std::string directory_;
    sigset_t signals_before_{};
};

// Whether a signal waits that will end the program.
[[nodiscard]] bool is_interrupted();

}  // namespace ravelo::replay
