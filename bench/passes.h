// Measures passes in a steady state, and a plain walk over the same snapshot buffer in the same
// run.
#pragma once

#include <benchmark/benchmark.h>
#include <string>

#include "bench/fake_library.h"
#include "bench/governor.h"

namespace ravelo::bench {

// Passes with the rules over the workload, with as many applications as the benchmark's argument
// says. Counters: ns/app, CPU time for each application; walks, how many plain walks cost as much;
// B/app, what the daemon allocated for each application besides the snapshot buffer.
void run_passes(benchmark::State &state, const std::string &rules, workload shown);

// What one application costs (CPU seconds) when every field that the daemon may look at is read,
// and nothing is done with it. whole: every byte of every record is.
[[nodiscard]] double walk_seconds(const glob_struct *glob, bool whole);

// The sizes at which passes are measured.
void sizes(benchmark::internal::Benchmark *measured);

}  // namespace ravelo::bench
