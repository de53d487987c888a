// Soak: the daemon's own main loop for as many passes as are asked for, as fast as they go, while
// applications come and go, every kind of action happens, the rules change and the log is taken
// away. Fails when memory or open files grow once the workload has shown all of itself.
//
//     ravelo_soak [passes]
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <string>
#include <unistd.h>

#include "bench/fake_library.h"
#include "daemon/base/memory.h"
#include "daemon/base/text.h"
#include "daemon/clean_up.h"
#include "daemon/main_loop.h"
#include "daemon/stop_signal.h"

namespace ravelo::bench {
namespace {

constexpr uint64_t rules_last = 97;  // passes; no multiple of what else repeats
constexpr uint64_t log_lasts = 1000;
constexpr uint64_t workload_repeats = 1200;
constexpr long slack_kb = 64;  // of resident memory: what the allocator may still round up

struct soak {
    std::filesystem::path dir;
    uint64_t passes;
    uint64_t done = 0;
    uint64_t log_bytes = 0;
    long resident_kb = 0;  // at a tenth of the passes
    long files = 0;
    bool grown = false;
};

soak *running = nullptr;  // for the daemon's sleep, which has no argument to spare

long resident_kb() {
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

long open_files() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files)) - 1;  // without the iterator's own
}

// Everyone is accounted; by name some are forced, some prioritised and some scheduled.
void write_rules(const soak &state, uint64_t turn) {
    std::string rules = "dbname soak; interval 1; account 1;\n";
    for (uint64_t i = 0; i < 20; ++i) {
        const std::string name = std::to_string((i + turn) % 50);
        const char *const actions[] = {"force", "priority 5", "schedule", "schedule class"};
        rules += "desc 'turn " + std::to_string(turn % 10) + "' authid other";
        for (uint64_t user = (i + turn) % 50; user < 200; user += 50)
            rules += ", user" + std::to_string(user);
        rules +=
            " applname app" + name + " setlimit cpu 1 idle 100 action " + actions[i % 4] + ";\n";
    }
    std::ofstream(state.dir / "new") << rules;
    std::filesystem::rename(state.dir / "new", state.dir / "rules");
}

// From pass to pass one application leaves and another joins; their number goes up and down.
void show_pass(uint64_t pass) {
    const auto turn = static_cast<uint32_t>(pass % workload_repeats);
    show({.applications = 40 + turn / 4 % 50,
          .first = static_cast<uint32_t>(pass),
          .scattered = true,
          .time = static_cast<uint32_t>(1000000 + pass * 7),
          .same_second = turn % 2 == 0,
          .cpu_s = static_cast<uint32_t>(1 + pass % 100),
          .running = turn % 13 != 0});
}

void take_figures(soak &state) {
    const long resident = resident_kb();
    const long files = open_files();
    std::printf("%10" PRIu64 " passes %8ld KB resident %3ld open files\n", state.done, resident,
                files);
    (void)std::fflush(stdout);
    if (state.resident_kb == 0) {
        if (state.done * 10 >= state.passes) {
            state.resident_kb = resident;
            state.files = files;
        }
        return;
    }
    state.grown = state.grown || resident > state.resident_kb + slack_kb || files != state.files;
}

// Between two passes.
void sleep_instead(soak &state) {
    ++state.done;
    if (state.done % log_lasts == 0) {
        state.log_bytes += std::filesystem::file_size(state.dir / "log");
        std::filesystem::remove(state.dir / "log");
    }
    if (state.done % rules_last == 0)
        write_rules(state, state.done / rules_last);
    if (state.done == state.passes / 100 || state.done % (state.passes / 10) == 0)
        take_figures(state);
    if (state.done == state.passes)
        std::ofstream(state.dir / "stop");
    show_pass(state.done);
}

int run(soak &state) {
    glob_struct glob;
    init_glob(&glob);
    cut_text(glob.db_name, "SOAK");
    cut_text(glob.cfg_file_name, (state.dir / "rules").c_str());
    cut_text(glob.log_file_name, (state.dir / "log").c_str());
    cut_text(glob.stop_file_name, (state.dir / "stop").c_str());
    if (allocate_record(&glob.snap_req) != 0)
        return EXIT_FAILURE;
    glob.snap_req_size = sizeof(snapshot_request);
    write_rules(state, 0);
    show_pass(0);
    bool stopped = false;
    int32_t outcome = main_loop(&glob, &stopped);
    outcome = shut_down(&glob, outcome, stopped);
    std::printf("%" PRIu64 " forces, %" PRIu64 " priority calls, %" PRIu64
                " MB of log, result %d\n",
                forces_asked(), priorities_asked(), state.log_bytes >> 20U, outcome);
    const bool acted = forces_asked() != 0 && priorities_asked() != 0 && state.log_bytes != 0;
    if (state.grown)
        std::puts("memory or open files have grown");
    return outcome == 0 && acted && !state.grown ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace ravelo::bench

// The daemon sleeps in this call; nothing else in this program makes it.
extern "C" int ppoll(pollfd * /*files*/, nfds_t /*count*/, const timespec * /*timeout*/,
                     const sigset_t * /*mask*/) {
    ravelo::bench::sleep_instead(*ravelo::bench::running);
    return 0;
}

int main(int argc, char **argv) {
    using namespace ravelo::bench;
    char dir[] = "/tmp/ravelo-soak-XXXXXX";
    const uint64_t passes = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1000000;
    if (passes < 1000 || mkdtemp(dir) == nullptr)
        return EXIT_FAILURE;
    soak state{.dir = dir, .passes = passes};
    running = &state;
    const int status = run(state);
    std::filesystem::remove_all(dir);
    return status;
}
