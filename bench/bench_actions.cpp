// What it costs to remember every application between passes: each is accounted, has its priority
// set or is scheduled, all of them by the same rule. 20 rules that don't match stand before it.
#include "bench/passes.h"

namespace ravelo::bench {
namespace {

const std::string account = "account 1440; ";
const std::string prioritise = "setlimit cpu 1 action priority 5;";
const std::string schedule_all = "setlimit cpu 1 action schedule;";

void accounted(benchmark::State &state) {
    run_passes(state, account + quiet_rules(), {});
}

void accounted_same_second(benchmark::State &state) {
    run_passes(state, account + quiet_rules(), {.same_second = true});
}

void prioritised(benchmark::State &state) {
    run_passes(state, quiet_rules() + prioritise, {});
}

void prioritised_scattered(benchmark::State &state) {
    run_passes(state, quiet_rules() + prioritise, {.scattered = true});
}

void scheduled(benchmark::State &state) {
    run_passes(state, quiet_rules() + schedule_all, {});
}

void scheduled_accounted_same_second(benchmark::State &state) {
    run_passes(state, account + quiet_rules() + schedule_all,
               {.scattered = true, .same_second = true});
}

BENCHMARK(accounted)->Apply(sizes);
BENCHMARK(accounted_same_second)->Apply(sizes);
BENCHMARK(prioritised)->Apply(sizes);
BENCHMARK(prioritised_scattered)->Apply(sizes);
BENCHMARK(scheduled)->Apply(sizes);
BENCHMARK(scheduled_accounted_same_second)->Apply(sizes);

}  // namespace
}  // namespace ravelo::bench
