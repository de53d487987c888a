// A client library for benchmarks: its snapshot is a buffer prepared beforehand, and every other
// operation just succeeds. Linked into the benchmark, it takes the place of the shared library.
// What a buffer holds already is not copied again, so that passes cost what the daemon costs.
#pragma once

#include <cstdint>

namespace ravelo::bench {

// How the applications of a snapshot look.
struct workload {
    uint32_t applications = 0;
    uint32_t first = 0;        // number of the first application; the others count on from it
    bool scattered = false;    // agent ids in no order, all over their range
    uint32_t time = 1000000;   // of the snapshot, seconds since the epoch
    bool same_second = false;  // all connected at once
    uint32_t cpu_s = 1;        // CPU seconds of every application
    bool running = true;       // every application has a running statement
};

// Makes the next snapshots show the workload.
void show(const workload &shown);

// Forces and priority calls so far.
[[nodiscard]] uint64_t forces_asked();
[[nodiscard]] uint64_t priorities_asked();

}  // namespace ravelo::bench
