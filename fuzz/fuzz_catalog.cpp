// Catalog files, and the texts that come of them: the input is an sqlca and the catalog.
#include <cstring>

#include "dbm/catalog.h"
#include "dbm/catalogs.h"
#include "dbm/message_text.h"
#include "fuzz/input_file.h"

using namespace ravelo;

namespace {
dbm::catalog loaded;
}

// Stands in for the library's own look-up in the catalogs that are installed.
std::string_view dbm::catalog_message(catalog_name /*which*/, uint32_t number) {
    return find_text(loaded, number);
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::memory_file file;
    sqlca ca{};
    if (size < sizeof(ca))
        return 0;
    std::memcpy(&ca, data, sizeof(ca));
    file.fill(data + sizeof(ca), size - sizeof(ca));
    loaded = {};
    if (!dbm::read_catalog(file.path(), loaded))
        return 0;
    for (const size_t width : {size_t{1}, size_t{2}, size_t{40}, size_t{400}}) {
        for (const dbm::catalog_text &entry : loaded.texts) {
            char *const buffer = new char[width];  // of its own, so that a write past it shows
            ca.sqlcode = static_cast<int32_t>(entry.number);
            const size_t length =
                dbm::write_message({buffer, width}, dbm::catalog_name::daemon, ca);
            fuzz::require(length < width && std::strlen(buffer) == length);
            delete[] buffer;
        }
    }
    return 0;
}
