#include <gtest/gtest.h>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

const char *const quiet_rules = "dbname sample; interval 10; setlimit cpu 60 action force;";

TEST(Smoke, RunsUntilAskedToStop) {
    const TempInstance instance;
    const std::string rules = instance.config(quiet_rules);
    instance.recording(Recording().snapshot(1000).app({.agent_id = 7, .cpu = 1}).snapshot(1010));
    Daemon daemon(instance);
    ASSERT_TRUE(daemon.pass());
    EXPECT_TRUE(std::filesystem::exists(instance.status_file()));
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_TRUE(std::filesystem::exists(instance.stop_file()));
    EXPECT_EQ(of_type(instance.log()),
              (Lines{"START #1063|SAMPLE", "READCFG #1064|" + rules, "STOP Database = SAMPLE."}));
}

TEST(Smoke, RefusesASecondStart) {
    const TempInstance instance;
    instance.config(quiet_rules);
    instance.recording(Recording().snapshot(1000));
    Daemon daemon(instance);
    ASSERT_TRUE(daemon.pass());
    const Outcome second =
        instance.run({"start", "sample", "0", instance.path("rules.cfg"), instance.path("other")});
    EXPECT_EQ(second.status, 2);
    EXPECT_EQ(second.err, "\nravelod: #1007\n");
    EXPECT_TRUE(daemon.pass());
}

TEST(Smoke, ShowsItsUsage) {
    const Outcome outcome = TempInstance().run({});
    EXPECT_EQ(outcome.status, 255);
    EXPECT_EQ(outcome.err.find("\nUsage: ravelod start "), 0U) << outcome.err;
}

}  // namespace
}  // namespace ravelo::test
