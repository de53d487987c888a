// A private PostgreSQL server on a Unix socket in a temporary directory, made once for the whole
// program, as private_server.sh says; sessions on it; and the client library called without the
// daemon.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <memory>
#include <string>
#include <vector>

#include "govern/interface/constants.h"
#include "govern/interface/dbm.h"
#include "govern/interface/snapshot_records.h"
#include "govern/interface/sql_codes.h"
#include "tests/harness.h"

namespace ravelo::test {

// The server: role ravelo has the two grants, role plain nothing; database sample.
class LiveServer {
  public:
    // Null where PostgreSQL is not installed.
    static LiveServer *get();
    static const std::string programs;  // the folder of PostgreSQL's
    ~LiveServer();
    // more: further words of its command line. False: it ended, or hangs, which has been reported.
    bool start(const std::string &more = "");
    void stop();  // as an administrator does who doesn't wait for sessions
    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] std::string socket() const { return dir_ + "/server"; }
    [[nodiscard]] std::string log() const { return dir_ + "/log"; }
    // The library of the server extension; no file where it could not be built.
    [[nodiscard]] std::string extension() const { return dir_ + "/ravelo.so"; }
    // Runs a statement as the superuser; the first value of its answer.
    std::string admin(const std::string &sql);

  private:
    LiveServer();
    [[nodiscard]] std::string command(const std::string &what) const;

    std::string dir_;  // of the tests; in it socket(), which is the server's
    pid_t pid_ = 0;
};

// One session, as a client program has it.
class Session {
  public:
    explicit Session(const std::string &name, const std::string &role = "app");
    // Runs a statement to its end; the first value of its answer.
    std::string run(const std::string &sql);
    // Begins a statement and doesn't wait.
    Session &send(const std::string &sql);
    [[nodiscard]] int pid() const { return pid_; }
    // Whether the server has ended it.
    [[nodiscard]] bool ended() const;
    void close() { connection_.reset(); }

  private:
    std::unique_ptr<PGconn, void (*)(PGconn *)> connection_;
    int pid_;
};

// The library attached in this process, as a daemon attaches or a tool that only watches.
class Library {
  public:
    explicit Library(const TempInstance &instance, bool reader = false);
    ~Library();
    int attach();
    // The SQL code of a snapshot; warnings that come before the first one go to warnings.
    int snapshot();
    int force(int pid);
    int priority(int pid, int value);
    // The application of that process in the latest snapshot; null: none.
    [[nodiscard]] const appl_snapshot *find(int pid) const;
    [[nodiscard]] std::string message() const;

    std::vector<int> warnings;
    sqlca ca = {};
    snapshot_summary summary = {};

  private:
    std::vector<char> buffer_;
};

// Instances that govern the server; more: further lines of instance.conf.
void govern_server(const TempInstance &instance, const std::string &more = "",
                   const std::string &role = "ravelo");

struct Nice {
    int own = -99, group = -99;
    bool operator==(const Nice &) const = default;
};
// The group's is the process's own where the kernel doesn't schedule by session.
Nice nice_values(int pid);
bool kernel_groups();
// Whether this process has CAP_SYS_NICE.
bool may_set_nice();
double cpu_seconds_of(int pid);

// Whether a command succeeds.
bool shell(const std::string &command);
// Waits until it holds. False: it took longer than any test should.
bool eventually(const std::function<bool()> &holds);

class Live : public testing::Test {
  protected:
    void SetUp() override {
        if (server_ == nullptr)
            GTEST_SKIP() << "PostgreSQL's server is not installed";
        ASSERT_TRUE(server().pid() != 0 || server().start());
        govern_server(instance);
        (void)server().admin(
            "select pg_terminate_backend(pid, 5000) from pg_stat_activity"
            " where usename in ('app', 'boss')");
    }
    // Runs passes until it holds.
    static bool passes_until(Daemon &daemon, const std::function<bool()> &holds) {
        return eventually([&] { return daemon.pass() && holds(); });
    }
    static LiveServer &server() { return *LiveServer::get(); }

    LiveServer *const server_ = LiveServer::get();  // before the instance, which is in its folder
    TempInstance instance;
};

// What only root, or who has CAP_SYS_NICE, can show.
class LivePrivileged : public Live {
  protected:
    void SetUp() override {
        if (!may_set_nice())
            GTEST_SKIP() << "needs CAP_SYS_NICE, to give priorities back";
        Live::SetUp();
    }
};

}  // namespace ravelo::test
