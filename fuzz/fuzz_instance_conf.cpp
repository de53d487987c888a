// The settings of an instance.
#include "dbm/instance_conf.h"
#include "fuzz/input_file.h"

using namespace ravelo;

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::memory_file file;
    file.fill(data, size);
    dbm::settings conf;
    const dbm::outcome answer = dbm::read_settings(file.path(), conf);
    if (answer.sqlcode != 0)
        return 0;
    fuzz::require(conf.name.size() <= 9 && conf.nodes <= 1000);
    fuzz::require(conf.timeout >= 1 && conf.timeout <= 3600);
    for (const dbm::database_name &database : conf.databases)
        fuzz::require(!dbm::server_name(conf, database.name).empty());
    return 0;
}
