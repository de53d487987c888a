// What may be done with CAP_SYS_NICE through the file that keeps changed priorities: nothing but
// giving back, to the governed server's own processes, and by nobody but the daemon.
#include <algorithm>
#include <csignal>
#include <fstream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/postgres/live_server.h"

namespace ravelo::test {
namespace {

// A line that gives a process another nice value in place of one.
std::string kept_line(int pid, int nice, int in_place_of) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string start;
    for (int field = 1; field <= 22; ++field)
        stat >> start;
    return "set pid=" + std::to_string(pid) + " start=" + start + " nice=" + std::to_string(nice) +
           " to=" + std::to_string(in_place_of) + "\n";
}

class KeptFile : public LivePrivileged {
  protected:
    void SetUp() override {
        LivePrivileged::SetUp();
        ASSERT_TRUE(shell("mkdir -m 750 '" + instance.path("tmp") + "'"));
        for (int *const each : {&first, &last, &wild}) {
            *each = sessions.emplace_back("session").pid();
            (void)setpriority(PRIO_PROCESS, static_cast<id_t>(*each), 5);
        }
    }
    // Attaches as a daemon does; how often it is warned of code until the second snapshot.
    long warnings_of(int code) {
        Library library(instance);
        EXPECT_TRUE(library.attach() == 0 && library.snapshot() == 0 && library.snapshot() == 0);
        EXPECT_EQ(library.priority(first, 10), 0);
        return std::count(library.warnings.begin(), library.warnings.end(), code);
    }
    std::vector<Session> sessions;
    int first = 0, last = 0, wild = 0;  // their processes
    const std::string name = "tmp/SAMPLE.0.priorities";
};

TEST_F(KeptFile, IsTheDaemonsAndNoTools) {
    (void)instance.config(
        "dbname sample; interval 1; applname session setlimit idle 1 action priority 12;");
    Daemon daemon(instance);
    ASSERT_TRUE(passes_until(daemon, [&] { return nice_values(first).own == 12; }));
    const std::string kept = instance.read(name);
    EXPECT_TRUE(shell("DBM_INSTANCE='" + instance.path("") +
                      "' '" RAVELO_RECORD "' -n 1 SAMPLE 0 - > '" + instance.path("recorded") +
                      "'"));
    EXPECT_EQ(warnings_of(1929), 1) << "of a second daemon's attachment";
    EXPECT_EQ(nice_values(first).own, 12);
    EXPECT_EQ(instance.read(name), kept);
    server().stop();  // what was changed ends with it
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_EQ(instance.read(name), "");
}

TEST_F(KeptFile, ReachesTheServersSessionsAloneAndKeepsWhatItCannotRead) {
    const pid_t stranger = fork();
    if (stranger == 0)
        _exit(pause());
    const std::string unread = "set " + std::string(65'536, 'x') + "\n" + kept_line(wild, 100, 5) +
                               kept_line(wild, 0, -21);
    std::string text = kept_line(stranger, -15, 0) + kept_line(server().pid(), -15, 0) +
                       kept_line(first, 0, 5) + unread;
    for (int i = 0; i < 80'000; ++i)
        text += "set pid=" + std::to_string(5'000'000 + i) + " start=1 nice=0 to=5\n";
    (void)instance.write(name, text + kept_line(last, 0, 5));
    EXPECT_EQ(warnings_of(1928), 1);
    EXPECT_EQ(nice_values(stranger).own, 0);
    EXPECT_EQ(nice_values(server().pid()).own, 0) << "no session, but the server itself";
    EXPECT_EQ(nice_values(first).own, 0);
    EXPECT_EQ(nice_values(last).own, 0);
    EXPECT_EQ(nice_values(wild).own, 5);
    EXPECT_TRUE(instance.read(name) == unread);
    (void)kill(stranger, SIGKILL);
    (void)waitpid(stranger, nullptr, 0);
}

TEST_F(KeptFile, IsLeftAloneWhereOthersMayWriteIt) {
    const std::string in = "cd '" + instance.path("tmp") + "'; f=SAMPLE.0.priorities; ";
    for (const char *const change :
         {"chmod 666 $f", "chmod 660 $f", "ln $f g", "mv $f h; ln -s h $f", "rm $f; mkfifo $f",
          geteuid() == 0 ? "chown nobody $f" : "chmod 602 $f"}) {
        SCOPED_TRACE(change);
        (void)instance.write(name, kept_line(first, -15, 5));
        ASSERT_TRUE(shell(in + change));
        EXPECT_EQ(warnings_of(1929), 1);
        EXPECT_EQ(nice_values(first).own, 5) << "neither given back nor set";
        EXPECT_TRUE(shell(in + "if [ -p $f ]; then rm $f; else grep -q nice=-15 $f && rm $f; fi"));
    }
}

}  // namespace
}  // namespace ravelo::test
