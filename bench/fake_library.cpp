#include "bench/fake_library.h"

#include <cstring>
#include <string>
#include <vector>

#include "govern/interface/dbm.h"
#include "govern/interface/snapshot_records.h"
#include "govern/interface/sql_codes.h"

namespace ravelo::bench {
namespace {

std::vector<unsigned char> buffer;
workload current;
const void *filled = nullptr;  // the caller's buffer that holds the snapshot already
uint64_t forces = 0;
uint64_t priorities = 0;

template <size_t Size>
void pad(char (&field)[Size], const std::string &text) {
    std::memset(field, ' ', Size);
    text.copy(field, Size);
}

template <class Record>
void append(const Record &record) {
    const auto *const bytes = reinterpret_cast<const unsigned char *>(&record);
    buffer.insert(buffer.end(), bytes, bytes + sizeof(record));
}

void append_application(uint32_t i) {
    appl_snapshot record{};
    record.size = sizeof(record);
    record.rec_type = appl_record_type;
    record.agent_id = current.scattered ? (i + 1) * 2654435761U : i + 1;
    pad(record.applname, "app" + std::to_string(i % 50));
    pad(record.appl_id, "bench." + std::to_string(i));
    pad(record.authid, "USER" + std::to_string(i % 200));
    record.rows_read = i % 1000;
    record.conn_time = current.same_second ? 1 : 1 + i;
    record.user_cpu_s = current.cpu_s;
    record.subrec_count = current.running ? 1 : 0;
    append(record);
    if (!current.running)
        return;
    l_snapshot statement{};
    statement.size = sizeof(statement);
    statement.rec_type = l_record_type;
    statement.sched_weight = i % 100;
    statement.l_start_time = current.time - i % 60;
    append(statement);
}

int succeed(sqlca *ca) {
    ca->sqlcode = 0;
    return 0;
}

}  // namespace

void show(const workload &shown) {
    current = shown;
    filled = nullptr;
    buffer.clear();
    for (uint32_t i = 0; i < shown.applications; ++i)
        append_application(shown.first + i);
}

uint64_t forces_asked() {
    return forces;
}

uint64_t priorities_asked() {
    return priorities;
}

extern "C" {

int dbm_monitor_switches(int, void *, switch_group *groups, sqlca *ca) {
    for (int i = 0; i < dbm_switch_groups; ++i)
        groups[i].output_state = dbm_switch_on;
    return succeed(ca);
}

int dbm_snapshot_size(int, void *, const snapshot_request *, uint32_t *size, sqlca *ca) {
    filled = nullptr;  // a buffer is about to be allocated
    *size = static_cast<uint32_t>(buffer.size());
    return succeed(ca);
}

int dbm_snapshot(int, void *, const snapshot_request *, uint32_t buffer_size, void *out,
                 snapshot_summary *summary, sqlca *ca) {
    if (buffer.size() > buffer_size) {
        ca->sqlcode = dbm_sql_buffer_too_small;
        return 0;
    }
    if (out != filled)
        std::memcpy(out, buffer.data(), buffer.size());
    filled = out;
    *summary = snapshot_summary{};
    summary->snap_time = current.time;
    summary->num_records = current.applications;
    return succeed(ca);
}

int dbm_force_application(int, const uint32_t *, int, sqlca *ca) {
    ++forces;
    return succeed(ca);
}

int dbm_set_agent_priority(uint32_t, int, int, sqlca *ca) {
    ++priorities;
    return succeed(ca);
}

}  // extern "C"

}  // namespace ravelo::bench
