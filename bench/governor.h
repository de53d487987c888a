// A state record with its rules read, as the daemon has it before a pass, in a folder of its own.
#pragma once

#include <memory>
#include <string>

#include "daemon/base/glob_struct.h"

namespace ravelo::bench {

class governor {
  public:
    // rules: what stands in the configuration file behind its dbname statement.
    explicit governor(const std::string &rules);
    ~governor();
    governor(const governor &) = delete;
    governor &operator=(const governor &) = delete;

    glob_struct *glob() { return glob_.get(); }
    // Both end the program when they fail.
    void read_rules();
    void pass();

  private:
    std::string dir_;
    std::unique_ptr<glob_struct> glob_ = std::make_unique<glob_struct>();
};

// CPU seconds of this thread so far.
[[nodiscard]] double cpu_seconds();

// Bytes that the program holds from the allocator.
[[nodiscard]] double bytes_allocated();

// 20 rules with lists of names, of which few match and none is broken.
[[nodiscard]] std::string quiet_rules();

// As many rules as given with that many authorization ids and application names each; none is
// broken. Every hundredth name is that of an application.
[[nodiscard]] std::string long_rules(int rules, int names);

}  // namespace ravelo::bench
