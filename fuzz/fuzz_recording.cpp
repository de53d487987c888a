// The recording reader, played through the client library's interface by a client that forces and
// prioritises applications of every snapshot. What is laid out can be walked, unless the recording
// asks for a malformed snapshot, in buffers of the size that was asked for; small ones are refused.
#include <array>
#include <cstring>
#include <fstream>
#include <vector>

#include "fuzz/input_file.h"
#include "govern/interface/constants.h"
#include "govern/interface/dbm.h"
#include "govern/interface/snapshot_records.h"
#include "govern/snapshot_walk.h"

using namespace ravelo;

namespace {

constexpr int most_snapshots = 20;
constexpr uint32_t largest_snapshot = 1 << 24;

sqlca ca;

// Whether an operation has succeeded. A failure has a text, which a recording may also script.
bool succeeded(int rc) {
    if (rc == 0 && ca.sqlcode == 0)
        return true;
    char text[dbm_text_width];
    (void)dbm_message_text(text, sizeof(text), dbm_no_line_breaks, dbm_manager_catalog, &ca);
    fuzz::require(strnlen(text, sizeof(text)) < sizeof(text) && fuzz::is_printable(text));
    return false;
}

// Acts on every application. False: a record is malformed.
bool act_on_all(snapshot_bytes bytes, uint32_t records) {
    for (uint32_t i = 0; i < records; ++i) {
        const appl_snapshot *record = nullptr;
        if (!next_application(bytes, &record))
            return false;
        const l_snapshot *statement = nullptr;
        for (uint32_t k = 0; k < record->subrec_count; ++k)
            if (!next_sub_record(bytes, &statement))
                return false;
        const uint32_t agent = record->agent_id;
        (void)succeeded(agent % 3 == 0
                            ? dbm_force_application(dbm_force_count, &agent, dbm_force_mode, &ca)
                            : dbm_set_agent_priority(agent, 10, dbm_priority_mode, &ca));
    }
    return true;
}

// Plays the next snapshot. False: there is none that can be used.
bool play(bool well_formed) {
    const snapshot_request request{.num_objects = dbm_request_objects,
                                   .agent_id = 0,
                                   .object_type = dbm_all_applications,
                                   .object = "SAMPLE",
                                   .second_object = {}};
    std::array<switch_group, dbm_switch_groups> groups{};
    groups[dbm_statement_group].input_state = dbm_switch_on;
    uint32_t size = 0;
    if (!succeeded(dbm_monitor_switches(dbm_monitor_version, nullptr, groups.data(), &ca)) ||
        !succeeded(dbm_snapshot_size(dbm_monitor_version, nullptr, &request, &size, &ca)) ||
        size == 0 || size > largest_snapshot)
        return false;
    snapshot_summary summary{};
    for (const uint32_t room : {size / 2, size}) {
        std::vector<unsigned char> buffer(room);  // of its own, so that a write past it shows
        if (succeeded(dbm_snapshot(dbm_monitor_version, nullptr, &request, room, buffer.data(),
                                   &summary, &ca))) {
            fuzz::require(act_on_all(buffer, summary.num_records) || !well_formed);
            return true;
        }
    }
    return false;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::instance_directory here;
    static const fuzz::memory_file recording;
    const auto journal = here.path / "tmp" / "SAMPLE.0.journal";
    const auto link = here.path / "SAMPLE.0.recording";
    recording.fill(data, size);
    (void)remove(journal);
    if (!is_symlink(link))
        create_symlink(recording.path(), link);
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    bool well_formed = true;
    for (const char *const claim : {"size=", "type=", "num_records=", "subrec_count="})
        well_formed = well_formed && text.find(claim) == std::string_view::npos;

    ca = {};
    std::array<char, dbm_path_room> directory{};
    if (succeeded(dbm_init_process(dbm_library_version)) &&
        dbm_instance_path(dbm_current_instance, directory.data()) == 0 &&
        succeeded(dbm_attach("ravelod", nullptr, nullptr, &ca)))
        for (int played = 0; played < most_snapshots && play(well_formed);)
            ++played;
    (void)succeeded(dbm_detach(&ca));
    (void)dbm_init_process(dbm_library_version);  // lets go of the recording
    std::ifstream stream(journal);
    for (std::string line; std::getline(stream, line);)
        fuzz::require(fuzz::is_printable(line) && line.starts_with("time="));
    return 0;
}
