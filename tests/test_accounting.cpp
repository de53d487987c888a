// Accounting records: what each application used since the one before, and a last one.
#include <gtest/gtest.h>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

App app(uint32_t agent_id, uint32_t cpu, uint32_t system_cpu, uint32_t conn_time = 500) {
    return {.agent_id = agent_id,
            .applname = "tool",
            .appl_id = "id" + std::to_string(agent_id),
            .authid = "JOE",
            .cpu = cpu,
            .system_cpu = system_cpu,
            .conn_time = conn_time};
}

// "id7 user system" of each accounting record.
Lines accounted(const TempInstance &instance) {
    Lines all;
    for (const LogLine &line : instance.log()) {
        if (line.type != "ACCOUNT")
            continue;
        EXPECT_EQ(line.text.size(), 116U) << line.text;
        all.push_back(line.text.substr(21, 3) + " " + line.text.substr(95 + 9, 1) + " " +
                      line.text.substr(115, 1));
    }
    return all;
}

TEST(Accounting, HasItsFixedColumns) {
    const TempInstance instance;
    instance.config("dbname sample; account 2;");
    instance.recording(Recording().snapshot(1000).app({.agent_id = 7,
                                                       .applname = "a%s%n",
                                                       .appl_id = "an.application.id",
                                                       .authid = "JOE",
                                                       .cpu = 12345,
                                                       .system_cpu = 678,
                                                       .conn_time = 951782400}));
    Daemon daemon(instance, {.env = {{"TZ", "UTC"}}});
    ASSERT_TRUE(daemon.pass());
    daemon.stop();
    EXPECT_EQ(of_type(instance.log(), "ACCOUNT"),
              Lines{"ACCOUNT JOE                  an.application.id                "
                    "a%s%n                2000-02-29-00.00.00      12345        678"});
}

TEST(Accounting, ReportsDifferencesAndALastRecord) {
    const TempInstance instance;
    instance.config("dbname sample; interval 10; account 1;");
    Recording played;
    played.snapshot(1000).app(app(1, 3, 1)).app(app(2, 0, 0));  // due: the first pass
    played.snapshot(1030).app(app(1, 5, 1)).app(app(3, 2, 2));  // 2 not seen any more
    played.snapshot(1059).app(app(1, 6, 1));                    // 3 not seen any more
    played.snapshot(1060).app(app(1, 7, 1)).app(app(4, 1, 0));  // due; closes 2
    played.snapshot(1119).app(app(1, 7, 1));
    played.snapshot(1120).app(app(1, 7, 1));  // due: closes 3 and 4
    played.snapshot(1180).app(app(1, 7, 9));  // due
    instance.recording(played);
    Daemon daemon(instance);
    const std::vector<Lines> after_pass{
        {"id1 3 1"}, {}, {}, {"id1 4 0", "id4 1 0", "id2 0 0"}, {}, {"id4 0 0", "id3 2 2"},
        {"id1 0 8"}};
    Lines expected;
    for (size_t i = 0; i < after_pass.size(); ++i) {
        ASSERT_TRUE(daemon.pass());
        expected.insert(expected.end(), after_pass[i].begin(), after_pass[i].end());
        EXPECT_EQ(accounted(instance), expected) << "pass " << i;
    }
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_EQ(accounted(instance), expected);  // none at the daemon's end
}

TEST(Accounting, ClosesWhenTheDatabaseIsGone) {
    const TempInstance instance;
    instance.config("dbname sample; account 2;");
    Recording played;
    played.snapshot(1000).app(app(1, 3, 0)).app(app(2, 4, 0));
    played.snapshot(1010).app(app(1, 4, 0)).app(app(2, 4, 0)).line("end unreachable");
    instance.recording(played);
    Daemon daemon(instance);
    ASSERT_TRUE(daemon.passes(3));  // the first pass without it clears the sightings
    EXPECT_EQ(accounted(instance).size(), 2U);
    ASSERT_TRUE(daemon.passes(3));  // the second writes the last records
    EXPECT_EQ(accounted(instance), (Lines{"id1 3 0", "id2 4 0", "id2 0 0", "id1 1 0"}));
    EXPECT_EQ(of_type(instance.log(), "WARNING").size(), 1U);
    EXPECT_EQ(daemon.stop().status, 0);
}

TEST(Accounting, TellsApplicationsOfOneSecondApart) {
    const TempInstance instance;
    instance.config("dbname sample; account 2;");
    Recording played;
    for (const uint32_t time : {1000U, 1120U}) {
        const uint32_t more = (time - 1000) / 60;
        played.snapshot(time)
            .app(app(1, 1 + more, 0))
            .app(app(2, 3 + more, 0))
            .app(app(3, 1, 0, 501));
    }
    instance.recording(played);
    Daemon daemon(instance);
    ASSERT_TRUE(daemon.passes(2));
    daemon.stop();
    EXPECT_EQ(accounted(instance), (Lines{"id1 1 0", "id2 3 0", "id3 1 0", "id1 2 0", "id2 2 0"}));
}

}  // namespace
}  // namespace ravelo::test
