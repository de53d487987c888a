// Stands in for the PostgreSQL manager in a library that was built without libpq.
#include "dbm/codes.h"
#include "dbm/postgres/postgres_manager.h"

namespace dbm::postgres {

namespace {

outcome attach() {
    return call_failed(sql::manager_absent, {"postgres", "libpq"});
}

outcome detach() {
    return {};
}

outcome no_switches(std::span<switch_group, dbm_switch_groups>) {
    return attach();
}

outcome list_none(const std::string &, snapshot_builder &) {
    return attach();
}

void delivered() {}

outcome force_none(const agent &) {
    return attach();
}

outcome set_none(const agent &, int) {
    return attach();
}

}  // namespace

const manager shape = {
    .name = "postgres",
    .attach = attach,
    .detach = detach,
    .switches = no_switches,
    .list = list_none,
    .delivered = delivered,
    .force = force_none,
    .set_priority = set_none,
    .scripted = nullptr,
};

}  // namespace dbm::postgres
