// What holding the applications against rules costs where nothing has to be done about them, and
// what reading the records costs already.
#include "bench/passes.h"

namespace ravelo::bench {
namespace {

void walk_alone(benchmark::State &state, bool whole) {
    show({.applications = static_cast<uint32_t>(state.range(0))});
    governor daemon("setlimit cpu 1000000;");
    daemon.pass();
    while (state.KeepRunning())
        state.counters["ns/app"] = walk_seconds(daemon.glob(), whole) * 1e9;
}

void walk_fields(benchmark::State &state) {
    walk_alone(state, false);
}

void walk_bytes(benchmark::State &state) {
    walk_alone(state, true);
}

void rules_quiet(benchmark::State &state) {
    run_passes(state, quiet_rules(), {});
}

void rules_with_long_lists(benchmark::State &state) {
    run_passes(state, long_rules(100, 100), {});
}

void rules_without_lists(benchmark::State &state) {
    std::string rules;
    for (int i = 0; i < 20; ++i)
        rules += "setlimit cpu 1000000 locks 100000 rowsread 1000000 idle 3600;\n";
    run_passes(state, rules, {});
}

BENCHMARK(walk_fields)->Apply(sizes)->Iterations(10);
BENCHMARK(walk_bytes)->Apply(sizes)->Iterations(10);
BENCHMARK(rules_quiet)->Apply(sizes);
BENCHMARK(rules_with_long_lists)->Apply(sizes);
BENCHMARK(rules_without_lists)->Apply(sizes);

}  // namespace
}  // namespace ravelo::bench

BENCHMARK_MAIN();
