#include "daemon/base/memory.h"

#include <cerrno>
#include <cstdlib>

namespace ravelo {

int allocate_memory(size_t size, void **block) {
    void *const fresh = std::calloc(1, size);
    if (fresh == nullptr)
        return ENOMEM;
    *block = fresh;
    return 0;
}

void release_memory(void *block) {
    std::free(block);
}

}  // namespace ravelo
