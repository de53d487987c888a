// What is done to the applications that break a rule, as the database manager sees it.
#include <algorithm>
#include <gtest/gtest.h>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

// Runs passes over a recording and stops by request.
void govern(const TempInstance &instance, const std::string &rules, const Recording &played,
            int passes, const Options &options = {}) {
    instance.config("dbname sample; interval 10; " + rules);
    instance.recording(played);
    Daemon daemon(instance, options);
    ASSERT_TRUE(daemon.passes(passes));
    EXPECT_EQ(daemon.stop().status, 0);
}

App busy(uint32_t agent_id, const std::string &applname = "tool") {
    return {.agent_id = agent_id,
            .applname = applname,
            .appl_id = "id" + std::to_string(agent_id),
            .authid = "JOE",
            .cpu = 60,
            .aux = 99};
}

TEST(Force, HitsTheOffenderOnceAndNotItsNeighbour) {
    const TempInstance instance;
    Recording played;
    for (uint32_t time = 1000; time < 1030; time += 10)
        played.snapshot(time).app(busy(7)).app(busy(8, "other"));
    govern(instance, "applname tool setlimit cpu 60 action force;", played, 3);
    EXPECT_EQ(of_type(instance.log(), "FORCE"), Lines{"FORCE #1088|tool|JOE|id7|99|1|#1082|60"});
    EXPECT_EQ(instance.calls(), Lines{"force 7"});
    EXPECT_EQ(journal_field(instance.journal()[0], "sqlcode"), "0");
}

// Members with their figures: who refers to whom, since when and with which weight.
struct Member {
    uint32_t agent_id, weight, start, ref = 0;
};

Recording &add(Recording &played, const std::vector<Member> &members, const std::string &name) {
    for (const Member &member : members) {
        App app = busy(member.agent_id, name);
        app.ref = member.ref;
        played.app(app).statement(member.weight, member.start);
    }
    return played;
}

TEST(Schedule, SharesOutTheGoodPriorities) {
    struct Case {
        int members;
        std::map<std::string, int> priorities;  // how many get each
    };
    for (const Case &one : {Case{1, {{"0", 1}}}, Case{4, {{"0", 3}, {"5", 1}}},
                            Case{12, {{"0", 3}, {"5", 3}, {"10", 3}, {"20", 3}}}}) {
        SCOPED_TRACE(one.members);
        const TempInstance instance;
        Recording played;
        for (const uint32_t time : {1000U, 1010U}) {
            played.snapshot(time);
            for (int i = 1; i <= one.members; ++i)
                add(played, {{static_cast<uint32_t>(i), 10, 900}}, "tool");
        }
        govern(instance, "setlimit cpu 1 action schedule;", played, 2);
        std::map<std::string, int> counted;
        Lines made = instance.calls();
        made.resize(static_cast<size_t>(one.members));  // the second pass changes nothing
        for (const std::string &call : made)
            ++counted[call.substr(call.rfind(' ') + 1)];
        EXPECT_EQ(counted, one.priorities);
        EXPECT_EQ(instance.journal().size(), 2U * static_cast<size_t>(one.members));
        EXPECT_EQ(of_type(instance.log(), "SCHEDGRP").size(), static_cast<size_t>(one.members));
    }
}

TEST(Reread, GivesPrioritiesBackAndKeepsAccounts) {
    const TempInstance instance;
    Recording played;
    for (const uint32_t time : {1000U, 1010U, 1020U}) {
        add(played.snapshot(time), {{5, 5, 900}}, "batch");
        played.app(busy(1)).app(busy(2)).app(busy(3));
    }
    instance.config(
        "dbname sample; interval 10; account 1; applname tool setlimit cpu 1;"
        "applname batch setlimit cpu 1 action schedule;");
    instance.recording(played);
    Daemon daemon(instance);
    ASSERT_TRUE(daemon.pass());
    instance.config("dbname sample; interval 10; account 1;");
    ASSERT_TRUE(daemon.pass());
    const Lines made = instance.calls();
    EXPECT_EQ(Lines(made.begin() + 4, made.end()),
              (Lines{"priority 3 0", "priority 2 0", "priority 1 0", "priority 5 0"}));
    EXPECT_EQ(of_type(instance.log(), "READCFG").size(), 2U);
    ASSERT_TRUE(daemon.pass());  // an unchanged file is not read again
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_EQ(of_type(instance.log(), "READCFG").size(), 2U);
    EXPECT_EQ(of_type(instance.log(), "ACCOUNT").size(), 4U);  // at the first pass only
    EXPECT_EQ(instance.journal().size(), 8U);
}

TEST(Reread, EndsTheDaemonWhenTheFileIsBad) {
    const TempInstance instance;
    const std::string rules = instance.config("dbname sample; setlimit cpu 1;");
    instance.recording(Recording().snapshot(1000).app(busy(1)).snapshot(1010));
    Daemon daemon(instance);
    ASSERT_TRUE(daemon.pass());
    std::filesystem::remove(rules);
    EXPECT_EQ(daemon.wait_exit().status, 254);
    EXPECT_EQ(of_type(instance.log(), "ERROR"), Lines{"ERROR (1055) #1023|" + rules + "|2"});
    EXPECT_EQ(instance.calls(), (Lines{"priority 1 10", "priority 1 0"}));
    EXPECT_FALSE(std::filesystem::exists(instance.status_file()));
}

TEST(Reread, SeesEveryChange) {
    const TempInstance instance;
    const std::string rules = instance.config("dbname sample; debug 0; setlimit cpu 1;");
    instance.recording(Recording().snapshot(1000).line("end repeat"));
    Daemon daemon(instance);
    ASSERT_TRUE(daemon.pass());
    // Same size, same inode, and the old time of last modification put back.
    const auto modified = std::filesystem::last_write_time(rules);
    instance.config("dbname sample; debug 1; setlimit cpu 1;");
    std::filesystem::last_write_time(rules, modified);
    ASSERT_TRUE(daemon.pass());
    daemon.stop();
    const Lines read = of_type(instance.log(), "READCFG");
    ASSERT_EQ(read.size(), 3U);
    EXPECT_EQ(read[2], "READCFG #1065|0|1");
}

}  // namespace
}  // namespace ravelo::test
