// A private PostgreSQL server on a Unix socket in a temporary directory, made once for the whole
// program and gone with it; sessions on it; and the client library called without the daemon.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <memory>
#include <string>
#include <vector>

#include "govern/dbm.h"
#include "govern/snapshot_records.h"
#include "tests/harness.h"

namespace ravelo::test {

// The server: role ravelo has the two grants, role plain nothing; database sample.
class LiveServer {
  public:
    // Null where PostgreSQL is not installed.
    static LiveServer *get();
    ~LiveServer();
    void start(const Lines &more = {});  // more: further words of its command line
    void stop();                         // as an administrator does who doesn't wait for sessions
    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] const std::string &socket() const { return dir_; }
    // Runs a statement as the superuser; the first value of its answer.
    std::string admin(const std::string &sql);

  private:
    LiveServer();
    [[nodiscard]] Lines as_server_user(const Lines &command) const;

    std::string dir_;
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

// The library attached in this process.
class Library {
  public:
    explicit Library(const TempInstance &instance);
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
Nice nice_values(int pid);
double cpu_seconds_of(int pid);

// Waits until it holds. False: it took longer than any test should.
bool eventually(const std::function<bool()> &holds);

class Live : public testing::Test {
  protected:
    void SetUp() override {
        if (LiveServer::get() == nullptr)
            GTEST_SKIP() << "PostgreSQL's server is not installed";
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
    TempInstance instance;
};

}  // namespace ravelo::test
