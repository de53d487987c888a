#include <algorithm>

#include "dbm/manager.h"

// Each is a folder above this one, whose header says the same.
namespace dbm::embedded {
extern const manager shape;
}
namespace dbm::postgres {
extern const manager shape;
}

namespace dbm {

namespace {

constexpr std::array<const manager *, 2> managers = {&embedded::shape, &postgres::shape};

}  // namespace

const manager *find_manager(std::string_view name) {
    const auto *const found = std::find_if(managers.begin(), managers.end(),
                                           [&](const manager *m) { return m->name == name; });
    return found != managers.end() ? *found : nullptr;
}

std::string manager_names() {
    std::string names;
    for (const manager *const each : managers) {
        if (!names.empty())
            names += ", ";
        names += each->name;
    }
    return names;
}

}  // namespace dbm
