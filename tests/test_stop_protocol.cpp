// Starts and stops that meet: a stop request is never lost, and no two daemons govern one database.
// tests/model tries what can't be timed here.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <sys/file.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

// An instance whose recording lasts for any number of passes.
class StopProtocol : public testing::Test {
  protected:
    StopProtocol() {
        instance.config("dbname sample; interval 10; setlimit cpu 60;");
        instance.recording(Recording().snapshot(1000).line("end repeat"));
    }
    [[nodiscard]] bool exists(const std::string &path) const {
        return std::filesystem::exists(path);
    }

    const TempInstance instance;
};

TEST_F(StopProtocol, DaemonThatHasNotSeenItsRequestKeepsOthersOut) {
    Daemon first(instance);
    ASSERT_TRUE(first.pass());
    EXPECT_EQ(instance.run({"stop", "sample", "0"}).status, 0);
    Daemon second(instance);
    EXPECT_EQ(second.wait_exit().status, 2);
    EXPECT_EQ(second.wait_exit().err, "\nravelod: #1007\n");
    EXPECT_FALSE(exists(instance.status_file()));
    EXPECT_TRUE(exists(instance.stop_file()));
    EXPECT_EQ(first.wait_exit().status, 0);
    Daemon third(instance);
    ASSERT_TRUE(third.pass());
    EXPECT_FALSE(exists(instance.stop_file()));
    EXPECT_EQ(third.stop().status, 0);
}

TEST_F(StopProtocol, RequestMadeDuringTheClaimIsKept) {
    instance.write("during", "mv tmp/SAMPLE.0.GDA tmp/SAMPLE.0.GDB\n");
    Daemon daemon(instance, {.faults = "open:GDB@1=RUN"});
    EXPECT_EQ(daemon.wait_exit().status, 0);
    EXPECT_EQ(of_type(instance.log()), (Lines{"START #1063|SAMPLE", "STOP Database = SAMPLE."}));
    EXPECT_TRUE(exists(instance.stop_file()));
}

TEST_F(StopProtocol, StopDoesNotReplaceARequestThatIsWaitedFor) {
    Daemon first(instance);
    ASSERT_TRUE(first.pass());
    EXPECT_EQ(instance.run({"stop", "sample", "0"}).status, 0);
    instance.write("tmp/SAMPLE.0.GDA", "");  // as a start killed in its claim leaves it
    EXPECT_EQ(instance.run({"stop", "sample", "0"}).status, 0);
    EXPECT_FALSE(exists(instance.status_file()));
    EXPECT_EQ(Daemon(instance).wait_exit().status, 2);
    EXPECT_EQ(first.wait_exit().status, 0);
}

TEST_F(StopProtocol, DaemonTouchesOnlyItsOwnStatusFile) {
    Daemon daemon(instance);
    ASSERT_TRUE(daemon.pass());
    std::filesystem::remove(instance.status_file());
    instance.write("tmp/SAMPLE.0.GDA", "another daemon's");
    daemon.signal(SIGTERM);  // its own file has gone: nothing to rename
    EXPECT_TRUE(daemon.pass());
    std::filesystem::remove(instance.path("rules.cfg"));
    EXPECT_EQ(daemon.wait_exit().status, 254);
    EXPECT_EQ(instance.read("tmp/SAMPLE.0.GDA"), "another daemon's");
}

// Whoever keeps the folder locked delays a stop, but does not prevent it.
TEST_F(StopProtocol, FolderLockIsNotWaitedForEver) {
    Daemon daemon(instance);
    ASSERT_TRUE(daemon.pass());
    const int folder = open(instance.path("tmp").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(folder, LOCK_EX), 0);
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_EQ(close(folder), 0);
}

TEST_F(StopProtocol, RestartsWithoutAPause) {
    auto current = std::make_unique<Daemon>(instance);
    ASSERT_TRUE(current->pass());
    size_t refused = 0;
    const int restarts = rounds(500, 100);
    for (int round = 0; round < restarts; ++round) {
        ASSERT_EQ(instance.run({"stop", "sample", "0"}).status, 0);
        std::thread ending([&] { EXPECT_EQ(current->wait_exit().status, 0); });
        auto next = std::make_unique<Daemon>(instance);
        for (; !next->pass(); ++refused) {
            EXPECT_EQ(next->wait_exit().status, 2);
            next = std::make_unique<Daemon>(instance);
        }
        ending.join();
        current = std::move(next);
    }
    EXPECT_EQ(current->stop().status, 0);
    RecordProperty("refused", static_cast<int>(refused));
    const std::vector<LogLine> log = instance.log();
    size_t place = 0;
    for (const LogLine &line : log) {
        if (line.type != "START" && line.type != "STOP")
            continue;
        ASSERT_EQ(line.type, place++ % 2 == 0 ? "START" : "STOP") << "two daemons at once";
    }
    EXPECT_EQ(place, 2U + 2U * static_cast<size_t>(restarts));
}

}  // namespace
}  // namespace ravelo::test
