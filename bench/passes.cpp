#include "bench/passes.h"

#include <cstring>

#include "govern/snapshot_walk.h"

namespace ravelo::bench {
namespace {

template <size_t Size>
uint64_t sum_of(const unsigned char *bytes) {
    uint64_t sum = 0;
    for (size_t at = 0; at + sizeof(uint64_t) <= Size; at += sizeof(uint64_t)) {
        uint64_t word = 0;
        std::memcpy(&word, bytes + at, sizeof(word));
        sum += word;
    }
    return sum;
}

template <size_t Width>
uint64_t text(const char (&field)[Width]) {
    return sum_of<Width>(reinterpret_cast<const unsigned char *>(field));
}

uint64_t fields_of(const appl_snapshot *record) {
    return text(record->applname) + text(record->appl_id) + text(record->authid) +
           record->agent_id + record->locks_held + record->ref_agent_id + record->rows_selected +
           record->uow_start + record->uow_stop + record->conn_time + record->idle_time +
           record->user_cpu_s + record->user_cpu_us + record->system_cpu_s + record->system_cpu_us +
           record->rows_read;
}

uint64_t walk(const glob_struct *glob, bool whole) {
    snapshot_bytes bytes(glob->snap_buf, glob->snap_buf_size);
    uint64_t sum = 0;
    for (uint32_t i = 0; i < glob->summary.num_records; ++i) {
        const appl_snapshot *record = nullptr;
        const unsigned char *const begin = bytes.data();
        if (!next_application(bytes, &record))
            break;
        sum += whole ? sum_of<sizeof(appl_snapshot)>(begin) : fields_of(record);
        for (uint32_t k = 0; k < record->subrec_count; ++k) {
            const l_snapshot *statement = nullptr;
            if (!next_sub_record(bytes, &statement) || statement == nullptr)
                break;
            sum += statement->sched_weight + statement->l_start_time;
        }
    }
    return sum;
}

}  // namespace

double walk_seconds(const glob_struct *glob, bool whole) {
    constexpr double long_enough = 0.02;
    const double begun = cpu_seconds();
    double taken = 0;
    int walks = 0;
    do {
        benchmark::DoNotOptimize(walk(glob, whole));
        ++walks;
        taken = cpu_seconds() - begun;
    } while (taken < long_enough);
    return taken / walks / glob->summary.num_records;
}

void run_passes(benchmark::State &state, const std::string &rules, workload shown) {
    shown.applications = static_cast<uint32_t>(state.range(0));
    show(shown);
    governor daemon(rules);
    const double before = bytes_allocated();
    daemon.pass();
    const double kept = bytes_allocated() - before - daemon.glob()->snap_buf_size;
    const double begun = cpu_seconds();
    while (state.KeepRunning())
        daemon.pass();
    const double passes = static_cast<double>(state.iterations());
    const double each = (cpu_seconds() - begun) / passes / shown.applications;
    state.counters["ns/app"] = each * 1e9;
    state.counters["walks"] = each / walk_seconds(daemon.glob(), false);
    state.counters["B/app"] = kept / shown.applications;
}

void sizes(benchmark::internal::Benchmark *measured) {
    measured->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMicrosecond);
}

}  // namespace ravelo::bench
