// What the programs that stand on the daemon's code begin and fail with.
//
// A function of theirs that fails says why, once, on standard error, and returns a result: 0, or
// else what the program ends with, which is one of the daemon's results or program::failed.
#pragma once

#include <cstdint>
#include <string>

namespace ravelo::program {

// Each program has its own.
extern const char *const name;
extern const char *const usage;

constexpr int32_t failed = 1;

// Says what is wrong, behind the program's name; the text may hold any byte. Returns failed.
int32_t complain(const std::string &text);

// Says how the program is called. Returns failed.
int32_t show_usage();

// Runs body with standard streams that are open, and says what was thrown. Returns its result.
[[nodiscard]] int32_t run(int count, char **words, int32_t (*body)(int count, char **words));

}  // namespace ravelo::program
