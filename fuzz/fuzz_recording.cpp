// The recording reader, played through the client library's interface: what it lays out must be a
// snapshot that can be walked, in buffers of the size that was asked for and in small ones.
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "fuzz/input_file.h"
#include "govern/dbm.h"
#include "govern/snapshot_records.h"
#include "govern/snapshot_walk.h"

using namespace ravelo;

namespace {

constexpr int most_snapshots = 20;

// An instance directory in memory, for the life of the process.
class instance {
  public:
    instance() {
        char name[] = "/dev/shm/ravelo-fuzz-XXXXXX";
        fuzz::require(mkdtemp(name) != nullptr);
        directory_ = name;
        fuzz::require(setenv("DBM_INSTANCE", name, 1) == 0 && dbm_init_process(950801) == 0);
    }
    ~instance() {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }
    instance(const instance &) = delete;
    instance &operator=(const instance &) = delete;

    void record(const uint8_t *data, size_t size) const {
        std::ofstream(directory_ / "SAMPLE.0.recording", std::ios::binary)
            .write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
    }

  private:
    std::filesystem::path directory_;
};

void walk(unsigned char *buffer, uint32_t size, uint32_t records) {
    snapshot_bytes bytes{buffer, size};
    const appl_snapshot *record = nullptr;
    for (uint32_t i = 0; i < records && next_application(bytes, &record); ++i) {
        const uint32_t count = record->subrec_count;
        const l_snapshot *statement = nullptr;
        for (uint32_t k = 0; k < count && next_sub_record(bytes, &statement); ++k)
            continue;
    }
}

// Takes a snapshot into a buffer of its own size, so that a write past it shows.
bool take(const snapshot_request &request, uint32_t size, sqlca *ca) {
    const auto buffer = std::make_unique<unsigned char[]>(size);
    snapshot_summary summary{};
    if (dbm_snapshot(3, nullptr, &request, size, buffer.get(), &summary, ca) != 0)
        return false;
    if (ca->sqlcode == 0)
        walk(buffer.get(), size, summary.num_records);
    return ca->sqlcode == 0 || ca->sqlcode == 1606;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const instance here;
    here.record(data, size);
    sqlca ca{};
    if (dbm_attach("ravelod", nullptr, nullptr, &ca) != 0)
        return 0;
    snapshot_request request{
        .num_objects = 1, .agent_id = 0, .object_type = 6, .object = "SAMPLE", .second_object = {}};
    for (int i = 0; i < most_snapshots; ++i) {
        uint32_t needed = 0;
        if (dbm_snapshot_size(3, nullptr, &request, &needed, &ca) != 0 || ca.sqlcode != 0 ||
            !take(request, needed / 2, &ca) || !take(request, needed, &ca))
            break;
        (void)dbm_set_agent_priority(static_cast<uint32_t>(i), i, 0, &ca);
        const uint32_t agent = 7;
        (void)dbm_force_application(1, &agent, 0, &ca);
    }
    (void)dbm_detach(&ca);
    return 0;
}
