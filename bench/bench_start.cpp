// What happens once: from nothing to the end of the first pass, and reading rules again.
#include "bench/passes.h"
#include "daemon/clean_up.h"

namespace ravelo::bench {
namespace {

// Reads the rules, sizes and allocates the buffer, and makes the first pass.
void start(benchmark::State &state, const std::string &rules, workload shown) {
    shown.applications = static_cast<uint32_t>(state.range(0));
    show(shown);
    double taken = 0;
    while (state.KeepRunning()) {
        const double begun = cpu_seconds();
        governor daemon(rules);
        daemon.pass();
        const double each = cpu_seconds() - begun;
        taken += each;
        state.SetIterationTime(each);
    }
    const double starts = static_cast<double>(state.iterations());
    state.counters["ns/app"] = taken / starts / shown.applications * 1e9;
}

void start_quiet(benchmark::State &state) {
    start(state, quiet_rules(), {});
}

void start_accounted_same_second(benchmark::State &state) {
    start(state, "account 1440; " + quiet_rules(), {.same_second = true, .cpu_s = 0});
}

// Nearly all of this is writing a "NICE" record for every application.
void start_prioritised_scattered(benchmark::State &state) {
    start(state, quiet_rules() + "setlimit cpu 1 action priority 5;", {.scattered = true});
}

void reread(benchmark::State &state) {
    show({.applications = 1});
    governor daemon(long_rules(static_cast<int>(state.range(0)), 2));
    const double begun = cpu_seconds();
    while (state.KeepRunning())
        daemon.read_rules();
    const double rules = static_cast<double>(state.iterations() * state.range(0));
    state.counters["ns/rule"] = (cpu_seconds() - begun) / rules * 1e9;
}

BENCHMARK(start_quiet)->Apply(sizes)->UseManualTime();
BENCHMARK(start_accounted_same_second)->Apply(sizes)->UseManualTime();
BENCHMARK(start_prioritised_scattered)->Apply(sizes)->UseManualTime();
BENCHMARK(reread)->Apply(sizes);

}  // namespace
}  // namespace ravelo::bench
