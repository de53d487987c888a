// The governor log: the form of its records, and what happens when it can't be written.
#include <gtest/gtest.h>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

const char *const talkative = "dbname sample; interval 10; debug 1; setlimit cpu 60;";

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
