// What those who are governed, and others on the machine, try on the governor.
#include <atomic>
#include <filesystem>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "tests/postgres/live_server.h"

namespace ravelo::test {
namespace {

// A function that leaves a trace in the server's log, in a transaction that may write nothing.
const std::string trap = " language plpgsql as $$ begin raise log 'ran as %', session_user; ";

class OwnedByApp : public Live {
  protected:
    void SetUp() override {
        Live::SetUp();
        if (server_ != nullptr)
            (void)server().admin("alter database sample owner to app");
    }
    void TearDown() override {
        if (server_ == nullptr)
            return;
        (void)server().admin("alter database sample reset all");
        (void)server().admin("alter role ravelo in database sample reset all");
        Session("owner").run("drop schema if exists evil, ravelo cascade");
    }
    static bool trapped() { return shell("grep -q 'ran as ravelo' '" + server().log() + "'"); }
};

TEST_F(OwnedByApp, NothingOfTheirsIsRun) {
    Session owner("owner");
    (void)owner.run(
        "create schema ravelo; create function ravelo.statements() returns table"
        " (pid int, rows_selected int8, rows_read int8, plan_cost float8)" +
        trap + "end $$");
    (void)owner.run("create schema evil; grant usage on schema evil to public");
    for (const std::string type : {"text", "name", "oid", "int4"}) {
        std::string make = "create function evil.same(";
        make.append(type).append(", ").append(type).append(") returns bool").append(trap);
        (void)owner.run(make.append("return true; end $$"));
        make = "create operator evil.= (function = evil.same, leftarg = ";
        (void)owner.run(make.append(type).append(", rightarg = ").append(type).append(")"));
    }
    (void)server().admin("alter database sample set search_path = evil, pg_catalog");
    ASSERT_FALSE(trapped());
    Library library(instance);
    ASSERT_EQ(library.attach(), 0) << library.message();
    EXPECT_EQ(library.snapshot(), 0);
    EXPECT_EQ(library.warnings.back(), 1920);
    EXPECT_EQ(library.force(owner.pid()), 0);
    EXPECT_FALSE(trapped());
    Session victim("victim", "ravelo");  // it would have been seen
    (void)victim.run("set search_path = evil, pg_catalog; select 'a'::text = 'b'::text");
    EXPECT_TRUE(trapped());
}

TEST_F(OwnedByApp, NoSettingShutsTheGovernorOut) {
    Session writer("writer");
    (void)writer.run(
        "begin isolation level serializable; create table w(); select pg_backend_pid()");
    Lines settings{"idle_session_timeout = 1", "statement_timeout = 1", "role = pg_monitor",
                   "default_transaction_isolation = serializable"};
    if (server().admin("select current_setting('server_version_num')::int >= 170000") == "t")
        settings.push_back("transaction_timeout = 1");
    for (const std::string &setting : settings)
        (void)server().admin("alter database sample set " + setting);
    for (const std::string setting :
         {"default_transaction_read_only = on", "default_transaction_deferrable = on"})
        (void)server().admin("alter role ravelo in database sample set " + setting);
    (void)instance.write("instance.conf",
                         "manager = postgres\ntimeout = 5\nconnection = host=" + server().socket() +
                             " user=ravelo dbname=sample options='-c statement_timeout=1'\n");
    (void)setenv("PGOPTIONS", "-c statement_timeout=1", 1);
    Library library(instance);
    const int attached = library.attach();
    (void)unsetenv("PGOPTIONS");
    ASSERT_EQ(attached, 0) << library.message();
    std::string own;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(library.snapshot(), 0) << library.message();
        const std::string now = server().admin(
            "select string_agg(pid || ' ' || usename, ',') from pg_stat_activity"
            " where application_name = 'ravelod'");
        EXPECT_TRUE(own.empty() || now == own) << "it was ended";
        own = now;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_EQ(library.force(writer.pid()), 0);
}

// Where the server does not listen, somebody else does.
class Stranger {
  public:
    explicit Stranger(const std::string &folder, const std::function<void(int)> &serve) {
        std::filesystem::create_directory(folder);
        sockaddr_un place{AF_UNIX, {}};
        (void)(folder + "/.s.PGSQL.5432").copy(place.sun_path, sizeof place.sun_path - 1);
        listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const auto *const address = reinterpret_cast<sockaddr *>(&place);
        EXPECT_TRUE(listener_ >= 0 && bind(listener_, address, sizeof place) == 0 &&
                    listen(listener_, 8) == 0);
        thread_ = std::thread([this, serve] {
            for (int peer; (peer = accept(listener_, nullptr, nullptr)) >= 0; close(peer))
                serve(peer);
        });
    }
    ~Stranger() {
        (void)shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }
    Stranger(const Stranger &) = delete;
    Stranger &operator=(const Stranger &) = delete;

  private:
    int listener_;
    std::thread thread_;
};

// Hands on what comes until one side ends.
void relay(int one, int other) {
    pollfd both[] = {{one, POLLIN, 0}, {other, POLLIN, 0}};
    char bytes[4096];
    while (poll(both, 2, 30000) > 0)
        for (const pollfd &each : both) {
            const ssize_t length = each.revents != 0 ? read(each.fd, bytes, sizeof bytes) : 0;
            if (each.revents != 0 && length <= 0)
                return;
            (void)send(each.fd == one ? other : one, bytes, static_cast<size_t>(length),
                       MSG_NOSIGNAL);
        }
}

TEST_F(Live, WhoeverAnswersInTheServersPlaceIsNotGoverned) {
    const std::string folder = instance.path("public");
    const std::string real = server().socket() + "/.s.PGSQL.5432";
    const Stranger stranger(folder, [&](int peer) {
        sockaddr_un place{AF_UNIX, {}};
        (void)real.copy(place.sun_path, sizeof place.sun_path - 1);
        const int there = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (there >= 0 && connect(there, reinterpret_cast<sockaddr *>(&place), sizeof place) == 0)
            relay(peer, there);
        close(there);
    });
    (void)instance.write("instance.conf", "manager = postgres\nconnection = host=" + folder +
                                              " user=ravelo dbname=sample\n");
    Library library(instance);
    EXPECT_EQ(library.attach(), -1932) << library.message();
}

TEST_F(Live, ACopyWithoutEndIsNotReadForEver) {
    const std::string folder = instance.path("public");
    const Stranger stranger(folder, [&](int peer) {
        char bytes[4096];
        (void)!read(peer, bytes, sizeof bytes);
        const std::string ready{"R\0\0\0\x08\0\0\0\0Z\0\0\0\x05I", 15};
        const std::string copy{"1\0\0\0\4H\0\0\0\x07\0\0\0", 13}, data{"d\0\0\0\x08text", 9};
        (void)send(peer, ready.data(), ready.size(), MSG_NOSIGNAL);
        (void)!read(peer, bytes, sizeof bytes);
        (void)send(peer, copy.data(), copy.size(), MSG_NOSIGNAL);
        while (send(peer, data.data(), data.size(), MSG_NOSIGNAL) > 0)
            continue;
    });
    (void)instance.write("instance.conf", "manager = postgres\ntimeout = 1\nconnection = host=" +
                                              folder + " user=ravelo dbname=sample\n");
    Library library(instance);
    EXPECT_EQ(library.attach(), dbm_sql_not_connected);
}

TEST_F(Live, WhoeverHangsUpAndThenHangsIsNotWaitedFor) {
    const std::string folder = instance.path("public");
    bool first = true;
    const Stranger stranger(folder, [&](int peer) {
        pollfd gone{peer, POLLRDHUP, 0};
        if (!std::exchange(first, false))
            (void)poll(&gone, 1, 30000);
    });
    (void)instance.write("instance.conf", "manager = postgres\ntimeout = 20\nconnection = host=" +
                                              folder + " user=ravelo dbname=sample\n");
    Library library(instance);
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(library.attach(), dbm_sql_not_connected);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(10));
}

TEST_F(Live, AFunctionCalledWithoutAStatementIsOne) {
    const std::string where = "host=" + server().socket() + " dbname=sample user=app";
    PGconn *const peer = PQconnectdb(where.c_str());
    std::thread caller([peer] {
        constexpr int pg_sleep = 2626;
        char seconds[] = "@Y\0\0\0\0\0";  // 100
        PQArgBlock argument{8, 0, {}};
        argument.u.ptr = reinterpret_cast<int *>(seconds);
        int length = 0;
        PQclear(PQfn(peer, pg_sleep, nullptr, &length, 1, &argument, 1));
    });
    Library library(instance);
    EXPECT_EQ(library.attach(), 0);
    EXPECT_TRUE(eventually([&] {
        const int code = library.snapshot();
        const appl_snapshot *const shown = library.find(PQbackendPID(peer));
        return code == 0 && shown != nullptr && shown->subrec_count == 1;
    }));
    EXPECT_EQ(library.force(PQbackendPID(peer)), 0);
    caller.join();
    PQfinish(peer);
}

TEST_F(Live, SessionsOfADroppedRoleAreGoverned) {
    (void)server().admin("create role leaver login");
    const Session left("x", "leaver");
    (void)server().admin("drop role leaver");
    Library library(instance);
    ASSERT_EQ(library.attach(), 0);
    ASSERT_EQ(library.snapshot(), 0);
    EXPECT_NE(library.find(left.pid()), nullptr);
    EXPECT_EQ(library.force(left.pid()), 0);
}

}  // namespace
}  // namespace ravelo::test
