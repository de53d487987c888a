// What a governing pass costs. Arguments of each benchmark: the number of applications. The counter
// ns/application is CPU time; copying the snapshot into the daemon's buffer is part of a pass.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

#include "bench/fake_library.h"
#include "config/read_config.h"
#include "daemon/clean_up.h"
#include "daemon/memory.h"
#include "govern/govern.h"
#include "govern/snapshot_walk.h"
#include "log/text.h"

namespace ravelo::bench {
namespace {

// 20 rules with lists of names, of which few match and none is broken.
std::string quiet_rules() {
    std::string rules = "dbname bench; interval 1; account 1440;\n";
    for (int i = 0; i < 20; ++i) {
        char rule[200];
        (void)std::snprintf(rule, sizeof(rule),
                            "desc 'rule %d' authid user%d, other%d applname app%d, tool setlimit "
                            "cpu 1000000 locks 100000 rowsread 1000000 idle 3600;\n",
                            i, i, i, i);
        rules += rule;
    }
    return rules;
}

// A state record with the rules read, as the daemon has it before a pass.
class governor {
  public:
    explicit governor(const std::string &rules) {
        char dir[] = "/tmp/ravelo-bench-XXXXXX";
        if (mkdtemp(dir) == nullptr)
            std::abort();
        dir_ = dir;
        std::ofstream(dir_ + "/rules") << rules;
        init_glob(glob());
        cut_text(glob_->db_name, "BENCH");
        cut_text(glob_->cfg_file_name, dir_ + "/rules");
        cut_text(glob_->log_file_name, dir_ + "/log");
        if (allocate_record(&glob_->snap_req) != 0 || read_config(glob()) != 0)
            std::abort();
        glob_->snap_req_size = sizeof(snapshot_request);
    }
    ~governor() {
        (void)shut_down(glob(), 0, true);
        (void)unlink((dir_ + "/rules").c_str());
        (void)unlink((dir_ + "/log").c_str());
        (void)rmdir(dir_.c_str());
    }
    governor(const governor &) = delete;
    governor &operator=(const governor &) = delete;

    glob_struct *glob() { return glob_.get(); }

  private:
    std::string dir_;
    std::unique_ptr<glob_struct> glob_ = std::make_unique<glob_struct>();
};

void count_applications(benchmark::State &state) {
    using benchmark::Counter;
    const auto all = static_cast<double>(state.iterations() * state.range(0));
    state.counters["s/application"] = Counter(all, Counter::kIsRate | Counter::kInvert);
}

void run_passes(benchmark::State &state, const std::string &rules, workload shown) {
    shown.applications = static_cast<uint32_t>(state.range(0));
    show(shown);
    governor daemon(rules);
    while (state.KeepRunning()) {
        if (govern(daemon.glob()) != 0)
            state.SkipWithError("the pass failed");
    }
    count_applications(state);
}

// Touching every field that a rule looks at, and nothing else.
void plain_walk(benchmark::State &state) {
    show({.applications = static_cast<uint32_t>(state.range(0))});
    while (state.KeepRunning()) {
        snapshot_bytes bytes(snapshot_shown());
        const appl_snapshot *record = nullptr;
        uint64_t sum = 0;
        while (!bytes.empty() && next_application(bytes, &record)) {
            sum += record->agent_id + record->locks_held + record->rows_selected +
                   record->rows_read + record->idle_time + record->uow_start + record->user_cpu_s;
            for (uint32_t i = 0; i < record->subrec_count; ++i) {
                const l_snapshot *statement = nullptr;
                if (!next_sub_record(bytes, &statement))
                    break;
                sum += statement->sched_weight;
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    count_applications(state);
}

void pass_quiet(benchmark::State &state) {
    std::string rules = quiet_rules();
    rules.replace(rules.find("account 1440;"), strlen("account 1440;"), "");
    run_passes(state, rules, {});
}

void pass_accounted(benchmark::State &state) {
    run_passes(state, quiet_rules(), {});
}

void pass_prioritised(benchmark::State &state) {
    run_passes(state, "dbname bench; interval 1; setlimit cpu 1 action priority 5;", {});
}

void pass_scheduled(benchmark::State &state) {
    run_passes(state, "dbname bench; interval 1; setlimit cpu 1 action schedule;", {});
}

BENCHMARK(plain_walk)->RangeMultiplier(10)->Range(100, 10000);
BENCHMARK(pass_quiet)->RangeMultiplier(10)->Range(100, 10000);
BENCHMARK(pass_accounted)->RangeMultiplier(10)->Range(100, 10000);
BENCHMARK(pass_prioritised)->RangeMultiplier(10)->Range(100, 10000);
BENCHMARK(pass_scheduled)->RangeMultiplier(10)->Range(100, 10000);

}  // namespace
}  // namespace ravelo::bench

BENCHMARK_MAIN();
