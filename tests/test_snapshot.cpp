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

TEST(Snapshot, OutcomesOfTheOperations) {
    const std::string plain = "setlimit cpu 60 action force;";
    const std::string switches = "setlimit uowtime 9 idle 9 cpu 60 action force;";
    const std::string forced = "FORCE #1088|tool|||0|1|#1082|60";
    struct Case {
        Lines results;
        std::string rules;
        int passes;
        Lines records;
    };
    const std::vector<Case> cases{
        {{}, plain, 1, {forced, "0"}},
        {{"size call=1 rc=9 sqlcode=-3"},
         plain,
         1,
         {"ERROR (15010) #1052|DBMSNAPSIZE|9|-3", "252"}},
        {{"size call=1 sqlcode=-3"}, plain, 1, {"ERROR (15020) #1053|DBMSNAPSIZE|-3", "252"}},
        {{"size call=1 sqlcode=3"}, plain, 2, {"WARNING (15020) #102|DBMSNAPSIZE|3", forced, "0"}},
        {{"size call=1 sqlcode=1611"}, plain, 1, {"0"}},
        {{"size call=1 size=0"}, plain, 1, {"0"}},
        {{"size call=1 size=0"}, plain, 2, {forced, "0"}},
        {{"snapshot call=1 rc=9 sqlcode=-3"},
         plain,
         1,
         {"ERROR (15050) #1052|DBMSNAPSHOT|9|-3", "252"}},
        {{"snapshot call=1 sqlcode=-3"}, plain, 1, {"ERROR (15060) #1053|DBMSNAPSHOT|-3", "252"}},
        {{"snapshot call=1 sqlcode=3"},
         plain,
         2,
         {"WARNING (15060) #102|DBMSNAPSHOT|3", forced, "0"}},
        {{"snapshot call=1 sqlcode=1611"}, plain, 2, {forced, "0"}},
        // Unreachable: told once, and again only after it was back.
        {{"snapshot call=1-3 sqlcode=-1032"},
         plain,
         4,
         {"WARNING (15060) #103|DBMSNAPSHOT|-1032", forced, "0"}},
        {{"snapshot call=1 sqlcode=-1224", "snapshot call=3 sqlcode=-1032"},
         plain,
         3,
         {"WARNING (15060) #103|DBMSNAPSHOT|-1224", forced,
          "WARNING (15060) #103|DBMSNAPSHOT|-1032", "0"}},
        {{"size call=1-2 sqlcode=-1032"},
         plain,
         3,
         {"WARNING (15020) #103|DBMSNAPSIZE|-1032", forced, "0"}},
        // The switches are only asked for where a rule needs them.
        {{"switches call=1 rc=9 sqlcode=-3"}, plain, 1, {forced, "0"}},
        {{"switches call=1 rc=9 sqlcode=-3"},
         switches,
         1,
         {"ERROR (15003) DBMSWITCH: RC = 9 SQLCODE = -3", "252"}},
        {{"switches call=1 sqlcode=-3"}, switches, 1, {"ERROR (15005) #1053|DBMSWITCH|-3", "252"}},
        {{"switches call=1 sqlcode=3"},
         switches,
         1,
         {"WARNING (15005) #102|DBMSWITCH|3", forced, "0"}},
        {{"switches call=1 sqlcode=-1224"},
         switches,
         2,
         {"WARNING (15005) #103|DBMSWITCH|-1224", forced, "0"}},
        {{"switches call=1 states=1,0,0,0,0,0,0"}, switches, 1, {"ERROR (15007) #1056", "252"}},
        {{"switches call=1 states=0,1,0,0,0,0,0"}, switches, 1, {"ERROR (15007) #1056", "252"}},
        {{"switches call=1 states=0,1,0,0,0,0,0"},
         "setlimit idle 9 cpu 60 action force;",
         1,
         {forced, "0"}},
    };
    for (const Case &one : cases) {
        SCOPED_TRACE((one.results.empty() ? "" : one.results[0]) + " " + one.rules);
        EXPECT_EQ(governed(scripted(one.results), one.rules, one.passes), one.records);
    }
}

TEST(Snapshot, BufferGrowsUntilItFits) {
    const Lines records =
        governed(scripted({"size call=1 size=10000", "snapshot call=1 sqlcode=1606"}),
                 "debug 4; setlimit cpu 99;", 1);
    EXPECT_EQ(Lines(records.begin(), records.begin() + 6),
              (Lines{"DEBUG #1078", "DEBUG #1079|15096", "DEBUG #1081|15096", "DEBUG #1080",
                     "DEBUG #1079|37307", "DEBUG #1081|37307"}));
}

TEST(Snapshot, BufferThatNeverFitsEndsTheDaemon) {
    EXPECT_EQ(governed(scripted({"size call=1 size=3000000000", "snapshot call=1- sqlcode=1606"}),
                       "setlimit cpu 99;", 1),
              (Lines{"ERROR (15040) #1049|12", "250"}));
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

TEST(Snapshot, MalformedRecordsEndTheDaemonUnread) {
    const std::string application = "application agent_id=7 applname=tool user_cpu_s=60 ";
    const Lines damaged{"ERROR (9030) #1051", "252"};
    for (const Lines &lines : {
             Lines{"snapshot time=1000", application + "size=0"},
             Lines{"snapshot time=1000", application + "size=1111"},
             Lines{"snapshot time=1000", application + "size=4294967295"},
             Lines{"snapshot time=1000", application + "rec_type=4"},
             Lines{"snapshot time=1000", application + "subrec_count=1"},
             Lines{"snapshot time=1000", application + "subrec_count=4294967295"},
             Lines{"snapshot time=1000", application, "other type=X size=0"},
             Lines{"snapshot time=1000", application, "statement sched_weight=1 size=71"},
             Lines{"snapshot time=1000", application, "statement sched_weight=1 size=1000000"},
             Lines{"snapshot time=1000 num_records=1"},
             Lines{"snapshot time=1000 num_records=4294967295"},
         }) {
        SCOPED_TRACE(lines.back());
        Recording played;
        for (const std::string &line : lines)
            played.line(line);
        EXPECT_EQ(governed(played, "setlimit cpu 60 action force;", 1), damaged);
    }
}

TEST(Snapshot, AnEmptyOneLetsEveryoneGo) {
    Recording played;
    App app = seven;
    played.snapshot(1000)
        .app(app)
        .statement(1, 900)
        .snapshot(1010)
        .snapshot(1020)
        .app(app)
        .statement(1, 900);
    const Lines records = governed(played, "setlimit cpu 60 action schedule;", 3);
    EXPECT_EQ(records,
              (Lines{"SCHEDGRP #1076|tool|||1|#1082|60", "SCHEDGRP #1076|tool|||1|#1082|60", "0"}));
}

}  // namespace
}  // namespace ravelo::test
