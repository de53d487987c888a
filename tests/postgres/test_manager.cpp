// The PostgreSQL manager as the daemon calls it: what it shows, what it refuses, what it answers
// when the server can't be reached.
#include <csignal>
#include <unistd.h>
#include <utility>

#include "tests/postgres/live_server.h"

namespace ravelo::test {
namespace {

std::string field(const char *text, size_t size) {
    const std::string whole(text, size);
    return whole.substr(0, whole.find_last_not_of(' ') + 1);
}

TEST_F(Live, ShowsSessionsAsTheServerAndTheKernelDo) {
    (void)server().admin("alter database sample owner to app");
    Session holder("holder"), first("first"), second("a name longer than twenty"),
        root("root", "postgres");
    (void)holder.run("create table if not exists q (i int); truncate q; insert into q values (1)");
    (void)holder.run("begin; update q set i = 2");
    first.send("update q set i = 3");
    ASSERT_TRUE(eventually(
        [&] { return server().admin("select count(*) from pg_locks where not granted") == "1"; }));
    second.send("update q set i = 4");
    ASSERT_TRUE(eventually(
        [&] { return server().admin("select count(*) from pg_locks where not granted") == "2"; }));
    Library library(instance);
    ASSERT_EQ(library.attach(), 0) << library.message();
    ASSERT_EQ(library.snapshot(), 0);
    EXPECT_EQ(library.warnings.back(), 1920);
    const appl_snapshot *const held = library.find(holder.pid());
    ASSERT_NE(held, nullptr);
    EXPECT_EQ(field(held->applname, 20), "holder");
    EXPECT_EQ(field(held->authid, 20), "APP");
    EXPECT_EQ(field(held->appl_id, 32),
              server().admin("select to_hex(trunc(extract(epoch from backend_start))::int8) || '.'"
                             " || to_hex(pid) from pg_stat_activity where pid = " +
                             std::to_string(holder.pid())));
    EXPECT_GE(held->locks_held, 2U);
    EXPECT_GT(held->uow_start, 0U);
    EXPECT_EQ(held->subrec_count, 0U);
    EXPECT_EQ(held->ref_agent_id, 0U);
    for (const Session *const waiter : {&first, &second}) {
        const appl_snapshot *const waits = library.find(waiter->pid());
        ASSERT_NE(waits, nullptr);
        EXPECT_EQ(waits->ref_agent_id, static_cast<uint32_t>(holder.pid()));
        EXPECT_EQ(waits->subrec_count, 1U);
    }
    EXPECT_EQ(field(library.find(second.pid())->applname, 20), "a name longer than t");
    EXPECT_EQ(library.find(root.pid()), nullptr) << "a superuser's session";
}

TEST_F(Live, ProtectedSessionsAreNeitherSeenNorTouched) {
    (void)server().admin("create role outer_team; create role inner_team in role outer_team");
    (void)server().admin("grant inner_team to boss");
    const Session app("x"), boss("x", "boss"), root("x", "postgres"), own("x", "ravelo");
    const struct {
        const char *line;
        bool app, boss, root;
    } cases[] = {{"", true, true, false},
                 {"protect = BOSS\n", true, false, false},
                 {"protect = app , boss\n", false, false, false},
                 {"protect = app, +Outer_Team\n", false, false, false},
                 {"protect = +inner_team, +app\n", false, false, false},
                 {"protect = none\n", true, true, true}};
    for (const auto &each : cases) {
        SCOPED_TRACE(each.line);
        govern_server(instance, each.line);
        Library library(instance);
        ASSERT_EQ(library.attach(), 0);
        ASSERT_EQ(library.snapshot(), 0);
        EXPECT_EQ(library.find(app.pid()) != nullptr, each.app);
        EXPECT_EQ(library.find(boss.pid()) != nullptr, each.boss);
        EXPECT_EQ(library.find(root.pid()) != nullptr, each.root);
        EXPECT_EQ(library.find(own.pid()), nullptr) << "the governor's own role";
        // Only a superuser may end a superuser's session: a warning, and the daemon goes on.
        EXPECT_EQ(library.force(root.pid()), each.root ? 1925 : dbm_sql_already_forced);
        if (!each.boss) {
            EXPECT_EQ(library.force(boss.pid()), dbm_sql_already_forced);
        }
    }
    EXPECT_FALSE(root.ended() || app.ended() || boss.ended());
}

TEST_F(Live, ASessionThatIsGoneIsDone) {
    auto gone = std::make_unique<Session>("gone");
    Library library(instance);
    ASSERT_EQ(library.attach(), 0);
    ASSERT_EQ(library.snapshot(), 0);
    EXPECT_EQ(library.priority(gone->pid(), 10), may_set_nice() || kernel_groups() ? 0 : 1926);
    const int pid = gone->pid();
    gone.reset();
    ASSERT_TRUE(eventually([&] { return nice_values(pid).own == -99; }));
    EXPECT_EQ(library.force(pid), dbm_sql_already_forced);
    EXPECT_EQ(library.priority(pid, 10), dbm_sql_gone);
    EXPECT_EQ(library.priority(pid, 0), dbm_sql_gone);
    const Nice before = nice_values(server().pid());
    EXPECT_EQ(library.force(server().pid()), dbm_sql_already_forced) << "no session at all";
    EXPECT_EQ(nice_values(server().pid()), before);
}

TEST_F(Live, AToolOnlyWatches) {
    const Session idler("idler");
    Library library(instance, true);
    ASSERT_EQ(library.attach(), 0);
    ASSERT_EQ(library.snapshot(), 0);
    EXPECT_EQ(library.force(idler.pid()), -1939);
    EXPECT_EQ(library.priority(idler.pid(), 10), -1939);
    EXPECT_NE(library.message().find("it only watches"), std::string::npos);
    EXPECT_FALSE(idler.ended());
}

// The folders keep others out, and so does the server when they do not.
TEST_F(LivePrivileged, NobodyElseReachesTheServer) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root, to be another user";
    using std::filesystem::perms;
    const std::filesystem::path inner = server().socket();
    for (const auto &folder : {inner.parent_path(), inner}) {
        EXPECT_EQ(status(folder).permissions() & perms::others_all, perms::none);
        permissions(folder, perms::others_all, std::filesystem::perm_options::add);
    }
    for (const char *const role : {"postgres", "app"}) {
        std::string ask = LiveServer::programs + "/psql -qAt -h " + inner.string();
        ask.append(" -c 'select 1' sample ").append(role);
        EXPECT_TRUE(shell(ask));
        EXPECT_FALSE(shell("setpriv --reuid=nobody --clear-groups --regid=65534 " + ask));
    }
}

TEST_F(LivePrivileged, WorkersCountForTheirLeader) {
    (void)server().admin("alter database sample owner to app");
    Session leader("leader"), twin("twin");
    (void)leader.run(
        "create table if not exists big as select generate_series(1, 20000) i;"
        "set parallel_setup_cost = 0; set parallel_tuple_cost = 0;"
        "set min_parallel_table_scan_size = 0");
    (void)leader.run("analyze big");
    leader.send("select count(*) from big where md5(repeat(i::text, 100000)) = ''");
    std::string workers;
    const std::string ask =
        "select coalesce(string_agg(pid::text, ' '), '') from pg_stat_activity"
        " where leader_pid = " +
        std::to_string(leader.pid());
    ASSERT_TRUE(eventually([&] { return !(workers = server().admin(ask)).empty(); }));
    const int worker = std::stoi(workers);
    Library library(instance);
    ASSERT_EQ(library.attach(), 0);
    double last = 0;
    ASSERT_TRUE(eventually([&] {
        EXPECT_EQ(library.snapshot(), 0);
        const appl_snapshot *const shown = library.find(leader.pid());
        if (shown == nullptr)
            return false;
        const double cpu = shown->user_cpu_s + shown->system_cpu_s +
                           (shown->user_cpu_us + shown->system_cpu_us) / 1e6;
        EXPECT_GE(cpu, last);
        last = cpu;
        return cpu > cpu_seconds_of(leader.pid()) + 0.3;
    }));
    EXPECT_EQ(library.find(worker), nullptr);
    for (const auto &[priority, nice] : {std::pair(20, 19), std::pair(-5, -5), std::pair(0, 0)}) {
        EXPECT_EQ(library.priority(leader.pid(), priority), 0);
        EXPECT_EQ(nice_values(leader.pid()), (Nice{nice, nice}));
        EXPECT_EQ(nice_values(worker), (Nice{nice, nice}));
        EXPECT_EQ(nice_values(twin.pid()), (Nice{0, 0}));
    }
    (void)server().admin("select pg_cancel_backend(" + std::to_string(leader.pid()) + ")");
    ASSERT_TRUE(eventually([&] { return nice_values(worker).own == -99; }));
    ASSERT_EQ(library.snapshot(), 0);
    const appl_snapshot *const after = library.find(leader.pid());
    ASSERT_NE(after, nullptr);
    EXPECT_GE(after->user_cpu_s + after->system_cpu_s + 1, static_cast<uint32_t>(last));
}

TEST_F(Live, SaysWhatItMayNotDo) {
    govern_server(instance, "", "plain");
    const Session unseen("unseen");
    Library library(instance);
    ASSERT_EQ(library.attach(), 0);
    ASSERT_EQ(library.snapshot(), 0);
    std::vector<int> missing{1921, 1922, 1920};
    if (!may_set_nice())
        missing.insert(missing.begin(), 1923);
    EXPECT_EQ(library.warnings, missing);
    EXPECT_EQ(library.find(unseen.pid()), nullptr);
    EXPECT_NE(instance.read("tmp/SAMPLE.0.journal").find("grant pg_read_all_stats to plain"),
              std::string::npos);
}

// The pid of the library's own session.
int own_session() {
    return std::stoi("0" + LiveServer::get()->admin(
                               "select pid from pg_stat_activity where usename = 'ravelo'"));
}

TEST_F(Live, AnswersForAServerThatCannotBeAsked) {
    govern_server(instance, "timeout = 1\n");
    const Session idler("idler");
    Library library(instance);
    ASSERT_EQ(library.attach(), 0);
    ASSERT_EQ(library.snapshot(), 0);
    const auto drop = [&] {
        (void)server().admin(
            "select pg_terminate_backend(pid) from pg_stat_activity"
            " where usename = 'ravelo'");
    };
    const struct {
        const char *what;
        std::function<void()> before, after;
        int snapshot, force;
    } cases[] = {
        {"lost", drop, [] {}, 0, dbm_sql_already_forced},
        {"hung", [] { (void)kill(own_session(), SIGSTOP); }, [] {}, dbm_sql_gone, 0},
        {"full",
         [&] {
             (void)server().admin("alter role ravelo connection limit 0");
             drop();
         },
         [&] { (void)server().admin("alter role ravelo connection limit -1"); }, dbm_sql_gone,
         1925},
        {"refused",
         [&] {
             (void)server().admin("alter role ravelo nologin");
             drop();
         },
         [&] { (void)server().admin("alter role ravelo login"); }, dbm_sql_not_connected, 1925},
        {"stopped", [&] { server().stop(); }, [&] { EXPECT_TRUE(server().start()); },
         dbm_sql_unreachable, 1925},
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.what);
        const int hung = own_session();
        each.before();
        EXPECT_EQ(library.snapshot(), each.snapshot);
        if (each.force == 1925) {
            EXPECT_EQ(library.force(idler.pid()), each.force);
        }
        each.after();
        if (hung > 0)
            (void)kill(hung, SIGCONT);
        EXPECT_EQ(library.snapshot(), 0) << library.message();
    }
    EXPECT_EQ(library.find(idler.pid()), nullptr) << "ended with the server";
    EXPECT_EQ(library.force(idler.pid()), dbm_sql_already_forced);
}

TEST_F(Live, AttachSaysInTheServersWordsWhyItFails) {
    const std::string where = "host=" + server().socket();
    const std::pair<std::string, const char *> cases[] = {
        {"connection = " + where + " user=nobody dbname=sample", "role \"nobody\" does not exist"},
        {"connection = " + where + " user=ravelo dbname=none", "database \"none\" does not exist"},
        {"connection = host=/nowhere user=ravelo", "No such file or directory"},
        {"connection = nonsense", "service \"nonsense\" not found"},
        {"connection =", "is not a connection string"},
        {"timeout = 0", "is not a number from 1 to 3600"},
        {"protect = a,,b", "is neither none nor a list of roles"},
        {"connection = " + where + " user=ravelo dbname=sample\nprotect = app, +no\"body",
         "role \"no\"body\" of \"protect\" does not exist"},
        {"database orders\n", "has no value"},
        {"database orders = a\ndatabase ORDERS = b", "is not the only name"},
        {"timeout x = 1", "is not a setting"},
    };
    for (const auto &[lines, text] : cases) {
        (void)instance.write("instance.conf", "manager = postgres\n" + lines + "\n");
        Library library(instance);
        EXPECT_LT(library.attach(), 0) << lines;
        EXPECT_NE(library.message().find(text), std::string::npos) << library.message();
    }
}

TEST_F(Live, DatabasesAreFoundByTheirServersNames) {
    (void)server().admin("create database \"A Long Name\"");
    const std::pair<const char *, int> cases[] = {
        {"", 0}, {"database sample = SAMPLE\n", -1013}, {"database Sample = A Long Name\n", 0}};
    for (const auto &[line, code] : cases) {
        govern_server(instance, line);
        Library library(instance);
        ASSERT_EQ(library.attach(), 0);
        EXPECT_EQ(library.snapshot(), code) << line;
    }
}

}  // namespace
}  // namespace ravelo::test
