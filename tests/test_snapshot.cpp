// The monitor operations: every outcome they can have, and what the pass makes of it.
#include <algorithm>
#include <gtest/gtest.h>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

const App seven{.agent_id = 7, .applname = "tool", .cpu = 60};

// Runs passes, as far as the daemon lives, and stops it then. The records behind the reading of the
// configuration and before STOP, and the exit status as the last line.
Lines governed(const Recording &played, const std::string &rules, int passes) {
    const TempInstance instance;
    instance.config("dbname sample; " + rules);
    instance.recording(played);
    Daemon daemon(instance);
    const bool alive = daemon.passes(passes);
    const int status = alive ? daemon.stop().status : daemon.wait_exit().status;
    Lines records = of_type(instance.log());
    std::erase_if(records, [](const std::string &record) {
        return record.starts_with("START") || record.starts_with("READCFG") ||
               record.starts_with("STOP") || record.find("#1066|") != std::string::npos ||
               record.find("#1067|") != std::string::npos;
    });
    records.push_back(std::to_string(status));
    return records;
}

Recording scripted(const Lines &results) {
    Recording played;
    for (const std::string &result : results)
        played.line("result operation=" + result);
    played.snapshot(1000).app(seven).line("end repeat");
    return played;
}

TEST(Snapshot, BufferGrowsUntilItFits) {
    const Lines records =
        governed(scripted({"size call=1 size=10000", "snapshot call=1 sqlcode=1606"}),
                 "debug 4; setlimit cpu 99;", 1);
    EXPECT_EQ(Lines(records.begin(), records.begin() + 6),
              (Lines{"DEBUG #1078", "DEBUG #1079|15096", "DEBUG #1081|15096", "DEBUG #1080",
                     "DEBUG #1079|37307", "DEBUG #1081|37307"}));
}

TEST(Snapshot, DebugRecordsComeLevelByLevel) {
    Recording played;
    played.snapshot(1000).app({.agent_id = 7, .cpu = 61, .cpu_us = 5, .system_cpu_us = 6});
    played.statement(9, 950).statement(4, 960).line("other type=X size=12");
    const std::string rules = " setlimit cpu 99;";
    Lines expected;
    const std::vector<Lines> added{
        {},
        {"DEBUG #1078", "DEBUG #1079|5490"},
        {"DEBUG #1072|0|0|0|0|0|0", "DEBUG #1073|1"},
        {"DEBUG #1074|7|3|2|950|61|2"},
    };
    for (size_t level = 0; level < added.size(); ++level) {
        expected.insert(expected.end(), added[level].begin(), added[level].end());
        Lines with_status = expected;
        with_status.emplace_back("0");
        EXPECT_EQ(governed(played, "interval 60; debug " + std::to_string(level) + ";" + rules, 1),
                  with_status);
    }
    const Lines all = governed(played, "interval 60; debug 4;" + rules, 1);
    EXPECT_NE(std::find(all.begin(), all.end(), "DEBUG #1074|61|0|5|6"), all.end());
}

TEST(Snapshot, WeightsAreHalvedForBusyApplications) {
    Recording played;
    played.snapshot(1000).app({.agent_id = 7, .cpu = 60}).statement(9, 950).statement(4, 960);
    const Lines records = governed(played, "interval 60; debug 3; setlimit cpu 99;", 1);
    EXPECT_NE(std::find(records.begin(), records.end(), "DEBUG #1074|7|2|4|950|60|2"),
              records.end());
}

}  // namespace
}  // namespace ravelo::test
