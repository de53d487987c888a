// The road of an application through the rules: which one decides, at which figures, and why.
#include <algorithm>
#include <gtest/gtest.h>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

// The records of the actions that one pass takes under the rules, besides the reading of them.
Lines actions_on(const Recording &played, const std::string &rules,
                 const std::string &zone = "UTC") {
    const TempInstance instance;
    instance.config("dbname sample; " + rules);
    instance.recording(played);
    Daemon daemon(instance, {.env = {{"TZ", zone}}});
    EXPECT_TRUE(daemon.pass());
    EXPECT_EQ(daemon.stop().status, 0);
    Lines records = of_type(instance.log());
    std::erase_if(records, [](const std::string &record) {
        return record.starts_with("START") || record.starts_with("READCFG") ||
               record.starts_with("STOP");
    });
    return records;
}

// An application that stands at the figures given, and its twin, which the rules never name.
Lines actions_on(App app, const std::string &rules, uint32_t time = 1000) {
    app.agent_id = 7;
    if (app.applname.empty())
        app.applname = "tool";
    App twin = app;
    twin.agent_id = 8;
    twin.applname = "Tool";
    return actions_on(Recording().snapshot(time).app(app).app(twin), rules);
}

std::string niced(const std::string &priority, const std::string &reason) {
    return "NICE #1077|tool|||" + priority + "|1|" + reason;
}

TEST(Limits, AreMetAtTheirBoundary) {
    struct Case {
        std::string limit;
        App at, over;
        std::string reason;
    };
    const std::vector<Case> cases{
        {"cpu 5",
         {.cpu = 4, .cpu_us = 999999},
         {.cpu = 2, .cpu_us = 600000, .system_cpu = 1, .system_cpu_us = 1400000},
         "#1082|5"},
        {"locks 5", {.locks = 5}, {.locks = 6}, "#1083|6"},
        {"rowssel 5", {.rows_selected = 5}, {.rows_selected = 6}, "#1084|6"},
        {"rowsread 2147483647",
         {.rows_read = 2147483647},
         {.rows_read = 2147483648},
         "#1085|-2147483648"},
        {"idle 5", {.idle = 5}, {.idle = 6}, "#1086|6"},
        {"uowtime 5", {.uow_start = 995}, {.uow_start = 994}, "#1087|6"},
        {"uowtime 5", {.uow_start = 900, .uow_stop = 950}, {.uow_start = 900}, "#1087|100"},
        {"uowtime 5", {.uow_start = 2000}, {.uow_start = 1}, "#1087|999"},
    };
    for (const Case &one : cases) {
        SCOPED_TRACE(one.limit);
        const std::string rules = "applname tool setlimit " + one.limit + ";";
        EXPECT_EQ(actions_on(one.at, rules), Lines{});
        EXPECT_EQ(actions_on(one.over, rules), Lines{niced("10", one.reason)});
    }
}

TEST(Rules, TheLastOneThatIsBrokenDecides) {
    const App busy{
        .cpu = 9, .locks = 9, .rows_selected = 9, .rows_read = 9, .idle = 9, .uow_start = 991};
    const std::string all = "locks 1 cpu 1 uowtime 1 idle 1 rowsread 1 rowssel 1";
    struct Case {
        std::string rules;
        Lines records;
    };
    const std::vector<Case> cases{
        {"applname tool setlimit " + all + " action priority 3;",
         {niced("3", "#1082|9#1083|9#1084|9#1085|9#1086|9#1087|9")}},
        // The later rule's action and limits, not the earlier one's.
        {"applname tool setlimit " + all +
             " action force;\n"
             "applname tool setlimit locks 8 action priority -4;",
         {"NICE #1077|tool|||-4|2|#1083|9"}},
        // A later rule that is not broken changes nothing ...
        {"applname tool setlimit locks 1;\n applname tool setlimit cpu 10 action force;",
         {niced("10", "#1083|9")}},
        // ... but what it exempts is forgotten, whether all of the reason or a part.
        {"applname tool setlimit locks 1;\n applname tool setlimit locks -1;", {}},
        {"applname tool setlimit locks 1;\n applname tool setlimit cpu -1;",
         {niced("10", "#1083|9")}},
        {"applname tool setlimit locks 1 cpu 1;\n applname tool setlimit cpu -1;",
         {niced("10", "#1083|9")}},
        // An exemption only counts where its rule applies.
        {"applname tool setlimit locks 1;\n applname Tool setlimit locks -1;",
         {niced("10", "#1083|9")}},
        {"setlimit locks -1;\n", {}},
    };
    for (const Case &one : cases) {
        SCOPED_TRACE(one.rules);
        EXPECT_EQ(actions_on(busy, one.rules), one.records);
    }
}

TEST(Rules, MatchNamesExactly) {
    struct Case {
        std::string clauses;
        App app;
        bool matches;
    };
    const std::string twenty = "abcdefghijklmnopqrst";
    const std::vector<Case> cases{
        {"authid joe", {.authid = "JOE"}, true},
        {"authid JOE", {.authid = "joe"}, false},
        {"authid joe", {.authid = "JOEY"}, false},
        {"authid x, joe, y", {.authid = "JOE"}, true},
        {"authid a", {.authid = "A B"}, true},
        {"authid 'a b'", {.authid = "A B"}, false},
        {"applname Batch", {.applname = "Batch"}, true},
        {"applname Batch", {.applname = "BATCH"}, false},
        {"applname 'x%s\"'", {.applname = "x%s\""}, true},
        {"applname " + twenty + "uvw", {.applname = twenty}, true},
        {"applname \"\xC3\xA4\"", {.applname = "\xC3\xA4"}, true},
        {"authid joe applname tool", {.applname = "tool", .authid = "JIM"}, false},
        {"authid joe applname tool", {.applname = "tool", .authid = "JOE"}, true},
    };
    for (const Case &one : cases) {
        SCOPED_TRACE(one.clauses + " for " + one.app.applname + "/" + one.app.authid);
        App app = one.app;
        app.cpu = 1;
        const Lines records = actions_on(Recording().snapshot(1000).app(app),
                                         one.clauses + " setlimit cpu 1 action force;");
        EXPECT_EQ(records.size(), one.matches ? 1U : 0U);
    }
}

TEST(Rules, ApplyWithinTheirTimeOfDay) {
    struct Case {
        std::string window;
        uint32_t time;  // 1970-01-01, UTC
        bool applies;
    };
    constexpr uint32_t hour = 3600;
    const std::vector<Case> cases{
        {"22:00 06:00", 23 * hour + 30 * 60, true}, {"22:00 06:00", 6 * hour, true},
        {"22:00 06:00", 6 * hour + 59, true},       {"22:00 06:00", 6 * hour + 60, false},
        {"22:00 06:00", 21 * hour + 3599, false},   {"8:00 17:00", 8 * hour, true},
        {"8:00 17:00", 8 * hour - 1, false},        {"8:00 17:00", 17 * hour + 59, true},
        {"8:00 17:00", 17 * hour + 60, false},
    };
    for (const Case &one : cases) {
        SCOPED_TRACE(one.window + " at " + std::to_string(one.time));
        const Lines records = actions_on(
            {.cpu = 1}, "time " + one.window + " applname tool setlimit cpu 1;", one.time);
        EXPECT_EQ(records.size(), one.applies ? 1U : 0U);
    }
    // The time is the local one: noon UTC is 7 o'clock five zones west.
    const Recording noon = Recording().snapshot(12 * hour).app({.agent_id = 1, .cpu = 1});
    EXPECT_EQ(actions_on(noon, "time 7:00 7:01 setlimit cpu 1;", "XYZ5").size(), 1U);
    EXPECT_EQ(actions_on(noon, "time 7:00 7:01 setlimit cpu 1;").size(), 0U);
}

TEST(Reason, IsCutNotOverrun) {
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
