// A client library for benchmarks: its snapshot is a buffer prepared beforehand, and every other
// operation just succeeds. Linked into the benchmark, it takes the place of the shared library.
#pragma once

#include <cstdint>
#include <vector>

namespace ravelo::bench {

// How the applications of a snapshot look.
struct workload {
    uint32_t applications = 0;
    uint32_t time = 1000000;   // of the snapshot, seconds since the epoch
    bool same_second = false;  // all connected at once
    uint32_t cpu_s = 1;        // CPU seconds of every application
    bool running = true;       // every application has a running statement
};

// Makes the next snapshots show the workload.
void show(const workload &shown);

// The bytes of the snapshot shown, as the daemon gets them.
[[nodiscard]] const std::vector<unsigned char> &snapshot_shown();

// Sets the time of the snapshot shown.
void set_time(uint32_t time);

}  // namespace ravelo::bench
