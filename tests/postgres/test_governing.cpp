// The daemon governs a live server: every limit, every action, and what becomes of it when the
// server or the daemon ends.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <iterator>
#include <sched.h>
#include <sstream>
#include <thread>
#include <unistd.h>

#include "tests/postgres/live_server.h"

namespace ravelo::test {
namespace {

const std::string head = "dbname sample; interval 1; ";
const char *const endless = "select count(*) from generate_series(1, 1000000000000)";

struct LimitCase {
    const char *limit;
    std::vector<const char *> offender, twin;  // statements; the last one is not waited for
};

// The log's warnings, without the one that this process lacks CAP_SYS_NICE.
Lines warnings(const TempInstance &instance) {
    Lines all = of_type(instance.log(), "WARNING");
    std::erase_if(all, [](auto &line) { return !may_set_nice() && line.ends_with("|1923"); });
    return all;
}

// Each offender is forced in the state that it is in, its twin with the same name is not.
TEST_F(Live, EveryLimitHitsItsOffenderAndNoTwin) {
    (void)server().admin("alter database sample owner to app");
    Session owner("owner");
    (void)owner.run("create table t1(); create table t2(); create table t3(); create table t4()");
    Session holder("holder");
    (void)holder.run("begin; lock table t4");
    const std::vector<LimitCase> cases = {
        {"cpu 2", {endless}, {"select pg_sleep(100)"}},
        {"locks 2",
         {"begin; lock table t1, t2, t3 in share mode"},
         {"begin; lock table t1 in share mode"}},
        {"idle 1", {"select 1"}, {"select pg_sleep(100)"}},
        {"uowtime 1", {"begin; select 1"}, {"select 1"}},
        {"uowtime 1", {"begin; lock table t4"}, {"select 1"}},
    };
    std::string rules = head;
    std::vector<Session> offenders, twins;
    for (const LimitCase &each : cases) {
        const std::string name = "case" + std::to_string(offenders.size());
        rules += "applname " + name + " setlimit " + each.limit + " action force;\n";
        for (const char *const statement : each.offender)
            offenders.emplace_back(name).send(statement);
        for (const char *const statement : each.twin)
            twins.emplace_back(name).send(statement);
    }
    (void)instance.config(rules);
    Daemon daemon(instance);
    EXPECT_TRUE(passes_until(daemon, [&] {
        return std::all_of(offenders.begin(), offenders.end(),
                           [](const Session &s) { return s.ended(); });
    }));
    for (size_t i = 0; i < cases.size(); ++i) {
        EXPECT_TRUE(offenders[i].ended()) << cases[i].limit;
        EXPECT_FALSE(twins[i].ended()) << cases[i].limit;
    }
    EXPECT_FALSE(holder.ended());
    EXPECT_EQ(daemon.stop().status, 0);
    // Passes follow each other so fast here that one may still see a session that is ending.
    EXPECT_GE(of_type(instance.log(), "FORCE").size(), cases.size());
    // Only the library's one warning: this server does not count rows.
    EXPECT_EQ(warnings(instance), Lines{"WARNING (15005) #102|DBMSWITCH|1920"});
}

TEST_F(Live, RowsAreLimitedWhileTheyAreReadWhereTheServerCountsThem) {
    if (access(server().extension().c_str(), R_OK) != 0)
        GTEST_SKIP() << "the headers of PostgreSQL's server are not installed";
    server().stop();
    ASSERT_TRUE(server().start("-c shared_preload_libraries=" + server().extension()));
    // As CREATE EXTENSION does it, without a file in the system's folders.
    std::ifstream file(RAVELO_EXTENSION_SQL);
    std::string script{std::istreambuf_iterator<char>(file), {}};
    script.erase(0, script.find("CREATE FUNCTION"));
    script.replace(script.find("MODULE_PATHNAME"), 15, server().extension());
    Session boss("boss", "postgres");
    (void)boss.run("set allow_system_table_mods = on; create schema ravelo; " + script);
    (void)boss.run(
        "insert into pg_extension values (99999, 'ravelo', 10, 'ravelo'::regnamespace, false, "
        "'1')");
    (void)boss.run("alter extension ravelo add function ravelo.statements()");
    (void)boss.run(
        "create table big as select generate_series(1, 200000) n; grant all on big to app");
    const char *const reading = "select count(*) from big a, big b, big c where a.n + b.n < c.n";
    Session reader("rows"), selecter("rows"), twin("rows"), other("others");
    reader.send(reading);
    (void)selecter.run("select n from big limit 2000");
    (void)twin.run("select n from big limit 900");
    other.send(reading);
    (void)instance.config(head +
                          "applname rows setlimit rowsread 150000 rowssel 1000 action force;");
    Daemon daemon(instance);
    EXPECT_TRUE(passes_until(daemon, [&] { return reader.ended() && selecter.ended(); }));
    EXPECT_FALSE(twin.ended());
    EXPECT_FALSE(other.ended());
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_GE(of_type(instance.log(), "FORCE").size(), 2U);
    EXPECT_EQ(warnings(instance), Lines{}) << instance.read("tmp/SAMPLE.0.journal");
    (void)server().admin("select pg_terminate_backend(" + std::to_string(other.pid()) + ", 5000)");
    // What takes the extension's place later is not even planned.
    Library library(instance);
    EXPECT_EQ(library.attach(), 0);
    EXPECT_EQ(library.snapshot(), 0);
    (void)boss.run(
        "drop extension ravelo; drop table big; create function ravelo.evil() returns int immutable"
        " language plpgsql as $$ begin raise log 'was evaluated'; return 1; end $$; create function"
        " ravelo.statements(int default ravelo.evil(), out pid int, out rows_selected int8, out"
        " rows_read int8, out plan_cost float8) returns setof record language sql as"
        " 'select 1, 1::int8, 1::int8, 1::float8'");
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));  // the listing is a new one
    EXPECT_EQ(library.snapshot(), 0);
    EXPECT_FALSE(shell("grep -q 'LOG:  was evaluated' '" + server().log() + "'"));
    (void)boss.run("drop schema ravelo cascade");
    boss.close();
    server().stop();
}

double share_of(const Session &one, const Session &other) {
    const double a = cpu_seconds_of(one.pid());
    const double b = cpu_seconds_of(other.pid());
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    const double used = cpu_seconds_of(one.pid()) - a;
    return used / std::max(used + cpu_seconds_of(other.pid()) - b, 0.01);
}

TEST_F(LivePrivileged, PriorityChangesTheShareOfOneCoreUntilTheStop) {
    Session slow("slow"), fast("fast");
    cpu_set_t core;
    CPU_ZERO(&core);
    CPU_SET(0, &core);
    for (Session *const each : {&slow, &fast}) {
        if (sched_setaffinity(each->pid(), sizeof core, &core) != 0)
            GTEST_SKIP() << "may not bind processes to a core";
        each->send(endless);
    }
    EXPECT_NEAR(share_of(slow, fast), 0.5, 0.2);
    (void)instance.config(head + "applname slow setlimit cpu 1 action priority 19;");
    Daemon daemon(instance);
    ASSERT_TRUE(passes_until(daemon, [&] { return nice_values(slow.pid()) == Nice{19, 19}; }));
    EXPECT_EQ(nice_values(fast.pid()), (Nice{0, 0}));
    EXPECT_LT(share_of(slow, fast), 0.2);
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_EQ(nice_values(slow.pid()), (Nice{0, 0}));
    EXPECT_NEAR(share_of(slow, fast), 0.5, 0.2);
    EXPECT_EQ(instance.read("tmp/SAMPLE.0.priorities"), "");
}

TEST_F(Live, ScheduleFavoursTheSessionThatOthersWaitFor) {
    if (!may_set_nice() && !kernel_groups())
        GTEST_SKIP() << "needs CAP_SYS_NICE, as the kernel doesn't schedule by session";
    Session owner("owner");
    (void)owner.run("create table hot (i int); insert into hot values (1)");
    std::vector<Session> sessions;
    for (int i = 0; i < 12; ++i) {
        sessions.emplace_back("ranked");
        // The sixth to come holds the row; those after it wait for it in a queue.
        if (i < 5)
            sessions.back().send("begin; select pg_sleep(100)");
        else if (i == 5)
            sessions.back().send("begin; update hot set i = 2; select pg_sleep(100)");
        else
            sessions.back().send("begin; update hot set i = 3");
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    (void)instance.config(head + "applname ranked setlimit uowtime 1 action schedule;");
    Daemon daemon(instance);
    const auto ranks = [&] {
        std::vector<int> all;
        all.reserve(sessions.size());
        for (const Session &each : sessions)
            all.push_back(may_set_nice() ? nice_values(each.pid()).own
                                         : nice_values(each.pid()).group);
        std::sort(all.begin(), all.end());
        return all;
    };
    const std::vector<int> expected{0, 0, 0, 5, 5, 5, 10, 10, 10, 19, 19, 19};
    // References to a session count from the pass after its first one in the group.
    EXPECT_TRUE(passes_until(
        daemon, [&] { return ranks() == expected && nice_values(sessions[5].pid()).group == 0; }));
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_EQ(ranks(), std::vector<int>(12, 0));
}

TEST_F(Live, AccountsWhatTheKernelCounts) {
    Session busy("busy"), quiet("quiet");
    while (cpu_seconds_of(busy.pid()) < 2.5)
        (void)busy.run("select count(*) from generate_series(1, 1000000)");
    (void)instance.config(head + "account 1; applname none setlimit idle 9;");
    Daemon daemon(instance);
    ASSERT_TRUE(passes_until(daemon, [&] { return !of_type(instance.log(), "ACCOUNT").empty(); }));
    const Lines records = of_type(instance.log(), "ACCOUNT");
    ASSERT_EQ(records.size(), 1U);
    std::istringstream figures(records[0].substr(records[0].size() - 21));
    int user = 0, system = 0;
    figures >> user >> system;
    EXPECT_NEAR(user + system, std::floor(cpu_seconds_of(busy.pid())), 1) << records[0];
    EXPECT_EQ(daemon.stop().status, 0);
}

TEST_F(Live, RidesThroughARestartOfTheServer) {
    (void)instance.config(head + "applname idler setlimit idle 1 action force;");
    Daemon daemon(instance);
    EXPECT_TRUE(daemon.passes(2));
    server().stop();
    EXPECT_TRUE(daemon.passes(3));
    ASSERT_TRUE(server().start());
    Session idler("idler"), other("other");
    EXPECT_TRUE(passes_until(daemon, [&] { return idler.ended(); }));
    EXPECT_FALSE(other.ended());
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_EQ(warnings(instance), (Lines{"WARNING (15005) #102|DBMSWITCH|1920",
                                         "WARNING (15005) #103|DBMSWITCH|-1032"}));
}

TEST_F(Live, ObservingTouchesNothing) {
    govern_server(instance, "observe = yes\n");
    const Session idler("idler");
    Session open_work("slow");
    (void)open_work.run("begin");
    const Nice before = nice_values(open_work.pid());
    (void)instance.config(head +
                          "applname idler setlimit idle 1 action force;"
                          "applname slow setlimit uowtime 1 action priority 10;");
    Daemon daemon(instance);
    EXPECT_TRUE(passes_until(daemon, [&] { return instance.journal().size() >= 4; }));
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_FALSE(idler.ended());
    EXPECT_EQ(nice_values(open_work.pid()), before);
}

TEST_F(LivePrivileged, TheNextStartGivesBackWhatAKilledDaemonChanged) {
    Session slow("slow"), twin("twin");
    (void)slow.run("begin");
    (void)twin.run("begin");
    (void)instance.config(head + "applname slow setlimit uowtime 1 action priority 12;");
    {
        Daemon killed(instance);
        ASSERT_TRUE(passes_until(killed, [&] { return nice_values(slow.pid()) == Nice{12, 12}; }));
        killed.signal(SIGKILL);
    }
    EXPECT_EQ(nice_values(slow.pid()), (Nice{12, 12}));
    (void)instance.run({"stop", "SAMPLE", "0"});
    (void)instance.config(head + "applname none setlimit idle 9;");
    // A line about another process with that id is left alone, one that was cut short stays.
    std::string kept = instance.read("tmp/SAMPLE.0.priorities");
    kept += "set pid=" + std::to_string(twin.pid()) + " start=1 nice=7 to=0\nset pid=";
    (void)instance.write("tmp/SAMPLE.0.priorities", kept);
    Daemon next(instance);
    EXPECT_TRUE(passes_until(next, [&] { return nice_values(slow.pid()) == Nice{0, 0}; }));
    EXPECT_EQ(nice_values(twin.pid()), (Nice{0, 0}));
    EXPECT_EQ(next.stop().status, 0);
    EXPECT_EQ(instance.read("tmp/SAMPLE.0.priorities"), "set pid=\n");
}

}  // namespace
}  // namespace ravelo::test
