#include "bench/governor.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <malloc.h>
#include <unistd.h>

#include "config/read_config.h"
#include "daemon/base/memory.h"
#include "daemon/base/text.h"
#include "daemon/clean_up.h"
#include "govern/govern.h"

namespace ravelo::bench {
namespace {

std::string names(const char *kind, int first, int count) {
    std::string list;
    for (int i = 0; i < count; ++i)
        list += (i == 0 ? " " : ", ") + std::string(kind) + std::to_string(first + i * 100);
    return list;
}

}  // namespace

governor::governor(const std::string &rules) {
    char dir[] = "/tmp/ravelo-bench-XXXXXX";
    if (mkdtemp(dir) == nullptr)
        std::abort();
    dir_ = dir;
    std::ofstream(dir_ + "/rules") << "dbname bench; " << rules;
    init_glob(glob());
    cut_text(glob_->db_name, "BENCH");
    cut_text(glob_->cfg_file_name, dir_ + "/rules");
    cut_text(glob_->log_file_name, dir_ + "/log");
    if (allocate_record(&glob_->snap_req) != 0)
        std::abort();
    glob_->snap_req_size = sizeof(snapshot_request);
    read_rules();
}

governor::~governor() {
    (void)shut_down(glob(), 0, true);
    (void)unlink((dir_ + "/rules").c_str());
    (void)unlink((dir_ + "/log").c_str());
    (void)rmdir(dir_.c_str());
}

void governor::read_rules() {
    if (clean_up(glob(), clean_up_mode::at_reread) != 0 || read_config(glob()) != 0)
        std::abort();
}

void governor::pass() {
    if (govern(glob()) != 0)
        std::abort();
}

double cpu_seconds() {
    timespec now{};
    (void)clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);  // can't fail with a valid clock
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double bytes_allocated() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

std::string quiet_rules() {
    std::string rules = "interval 1;\n";
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

std::string long_rules(int rules, int names_each) {
    std::string text = "interval 1;\n";
    for (int i = 0; i < rules; ++i)
        text += "authid" + names("user", i, names_each) + " applname" +
                names("app", i, names_each) + " setlimit cpu 1000000;\n";
    return text;
}

}  // namespace ravelo::bench
