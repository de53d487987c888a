#include "tools/common/program.h"

#include <cstdio>
#include <exception>
#include <new>

#include "daemon/base/files.h"
#include "tools/common/safe_text.h"

namespace ravelo::program {

int32_t complain(const std::string &text) {
    (void)std::fprintf(stderr, "%s: %s\n", name, escaped(text).c_str());
    return failed;
}

int32_t show_usage() {
    (void)std::fprintf(stderr, "Usage: %s %s\n", name, usage);
    return failed;
}

int32_t run(int count, char **words, int32_t (*body)(int count, char **words)) {
    if (guard_standard_streams() != 0)
        return failed;
    try {
        return body(count, words);
    } catch (const std::bad_alloc &) {
        (void)std::fprintf(stderr, "%s: out of memory\n", name);
        return failed;
    } catch (const std::exception &problem) {
        return complain(problem.what());
    }
}

}  // namespace ravelo::program
