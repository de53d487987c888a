// The governor log: the form of its records, and what happens when it can't be written.
#include <gtest/gtest.h>
#include <regex>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

const char *const talkative = "dbname sample; interval 10; debug 1; setlimit cpu 60;";

TEST(Log, RecordsHaveTheirColumns) {
    const TempInstance instance;
    instance.write("log", "an earlier run\nhalf a li");
    instance.config("dbname sample; setlimit cpu 1 action force;");
    instance.recording(Recording()
                           .line("result operation=force call=1 sqlcode=7")
                           .snapshot(1000)
                           .app({.agent_id = 7, .applname = "100%s", .cpu = 1}));
    Daemon daemon(instance, {.node = "12345"});
    instance.write("SAMPLE.12345.recording", instance.read("SAMPLE.0.recording"));
    ASSERT_TRUE(daemon.pass());
    daemon.stop();
    const Lines lines = split_lines(instance.read("log"));
    ASSERT_GE(lines.size(), 5U);
    EXPECT_EQ(lines[1], "half a li");  // and the next record has a line of its own
    const std::string stamp = "[0-9]{4}-[01][0-9]-[0-3][0-9]-[0-2][0-9]\\.[0-5][0-9]\\.[0-6][0-9]";
    EXPECT_TRUE(std::regex_match(lines[2], std::regex(stamp + " 12345 START      #1063\\|SAMPLE")))
        << lines[2];
    EXPECT_TRUE(std::regex_match(lines[5], std::regex(stamp + " 12345 WARNING    \\(11030\\) .*")))
        << lines[5];
    EXPECT_EQ(instance.system_log(),
              Lines{"3|ravelod (12345) db: SAMPLE WARNING (11030) #101|7|7"});
}

TEST(Log, HalfWrittenRecordIsFinishedTakenBackOrKeptApart) {
    for (const std::string fault : {"ftruncate@9=EIO", "ftruncate@1=EIO"}) {
        const TempInstance instance;
        instance.config(talkative);
        instance.recording(Recording().snapshot(1000).line("end repeat"));
        Daemon daemon(instance, {.faults = "write:/log@2=SHORT;write:/log@6=SHORT;"
                                           "write:/log@7=EIO;dbm_detach@1=-1/-7;" +
                                           fault});
        daemon.passes(2);
        EXPECT_EQ(daemon.wait_exit().status, 254);
        Lines lines = split_lines(instance.read("log"));
        ASSERT_GE(lines.size(), 5U);
        EXPECT_NE(lines.back().find("ERROR      (22120)"), std::string::npos) << lines.back();
        for (const std::string &line : lines)
            EXPECT_EQ(line.find("    0 ", 26), std::string::npos) << line;
        EXPECT_NE(lines[2].find("READCFG    #1065|0|1"), std::string::npos) << lines[2];
        if (fault == "ftruncate@1=EIO") {
            EXPECT_LT(lines[lines.size() - 2].size(), 36U);  // what could not be taken back
        }
    }
}

TEST(Log, IsSharedByDaemonsOfSeveralNodes) {
    const TempInstance instance;
    instance.config(talkative);
    instance.recording(Recording().snapshot(1000).app({.agent_id = 7}).line("end repeat"));
    Daemon first(instance);
    Daemon second(instance, {.node = "1"});
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(first.pass() && second.pass());
    EXPECT_EQ(first.stop().status, 0);
    EXPECT_EQ(second.stop().status, 0);
    std::map<int, size_t> records;
    for (const LogLine &line : instance.log())
        ++records[line.node];
    EXPECT_EQ(records[0], records[1]);
    EXPECT_EQ(records[0] + records[1], split_lines(instance.read("log")).size());
    EXPECT_GT(records[0], 9U);
}

TEST(Log, DebugRecordThatIsLostEndsThePassAfterItsSweep) {
    const TempInstance instance;
    instance.config("dbname sample; interval 10; account 1; debug 3; setlimit cpu 60;");
    Recording played;
    const App app{.agent_id = 7, .applname = "tool", .appl_id = "id7", .cpu = 60};
    // In the third pass the DEBUG record of the second application can't be written.
    played.snapshot(1000).app(app).snapshot(1060).app(app);
    played.snapshot(1120).app({.agent_id = 8}).app({.agent_id = 9});
    instance.recording(played);
    Daemon counting(instance);
    ASSERT_TRUE(counting.passes(3));
    counting.stop();
    const Lines all = of_type(instance.log());
    size_t lost = 0;
    while (!all[lost].starts_with("DEBUG #1074|9|"))
        ++lost;
    std::filesystem::remove(instance.path("log"));
    Daemon daemon(instance, {.faults = "write:/log@" + std::to_string(lost + 1) + "=ENOSPC"});
    EXPECT_TRUE(daemon.passes(2));
    EXPECT_FALSE(daemon.pass());
    EXPECT_EQ(daemon.wait_exit().status, 254);
    EXPECT_EQ(of_type(instance.log(), "ACCOUNT").size(), 2U);  // the last one of the sweep's
}

TEST(Log, ReasonIsCutNotOverrun) {
    const TempInstance instance;
    instance.config("dbname sample; setlimit cpu 1 locks 1 rowssel 1 rowsread 1 idle 1 uowtime 1;");
    instance.recording(Recording()
                           .snapshot(4000000000)
                           .app({.agent_id = 1,
                                 .applname = "%s%n",
                                 .appl_id = "x\x01y\nz",
                                 .authid = "\xFF\xFE",
                                 .cpu = 2000000000,
                                 .locks = 2000000000,
                                 .rows_selected = 2000000000,
                                 .rows_read = 2000000000,
                                 .idle = 2000000000,
                                 .uow_start = 2000000001}));
    Daemon daemon(instance, {.plain = false});
    ASSERT_TRUE(daemon.pass());
    daemon.stop();
    const Lines niced_once = of_type(instance.log(), "NICE");
    ASSERT_EQ(niced_once.size(), 1U);
    EXPECT_NE(
        niced_once[0].find("Application %s%n (authorization id \xFF\xFE, application id x y z)"),
        std::string::npos)
        << niced_once[0];
    EXPECT_NE(niced_once[0].find("Unit of work open 1999999999 s."), std::string::npos);
}

}  // namespace
}  // namespace ravelo::test
