// The command line, the status file and the ways in which a daemon begins and ends.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

const char *const quiet = "dbname sample; interval 10; setlimit cpu 60;";

TEST(CommandLine, IsChecked) {
    const std::string x254(254, 'x');
    const std::string full =
        "\nUsage: ravelod start    <Database> <NodeNum> <ConfigFile> <LogFile>\n"
        "       ravelod stop     <Database> <NodeNum>\n"
        "       ravelod validate <Database> <ConfigFile>\n";
    struct Case {
        Lines words;
        int status;
        std::string err, faults{};
    };
    const std::vector<Case> cases{
        {{}, 255, full},
        {{"startx"}, 255, full},
        {{"validates"}, 255, full},
        {{""}, 255, full},
        {{"Start", "db", "0", "cfg"},
         255,
         "\nUsage: ravelod start <Database> <NodeNum> <ConfigFile> <LogFile>\n"},
        {{"STOP", "db"}, 255, "\nUsage: ravelod stop <Database> <NodeNum>\n"},
        {{"validate", "db", "cfg", "x"},
         255,
         "\nUsage: ravelod validate <Database> <ConfigFile>\n"},
        {{"start", "ninechars", "0", "cfg", "log"}, 255, "\nravelod: #1001|ninechars\n"},
        {{"stop", "ninechars", "0"}, 255, "\nravelod: #1001|ninechars\n"},
        {{"validate", "ninechars", "cfg"}, 255, "\nravelod: #1001|ninechars\n"},
        {{"start", "db", "0", x254 + "y", "log"}, 255, "\nravelod: #1002|" + x254 + "y\n"},
        {{"validate", "db", x254 + "y"}, 255, "\nravelod: #1002|" + x254 + "y\n"},
        {{"start", "db", "0", "cfg", x254 + "y"}, 255, "\nravelod: #1004|" + x254 + "y\n"},
        {{"validate", "db", x254}, 254, "#1023|" + x254 + "|2\n"},
        {{"stop", "db", "12345"}, 2, "\nravelod: #1005|DB|12345\n"},
        {{"stop", "db", "123456"}, 2, "\nravelod: #1005|DB|1234\n"},
        {{"stop", "\x1B[m\x7F", "\t\n"}, 2, "\nravelod: #1005| [M |  \n"},
        {{"stop", "eightchr", ""}, 2, "\nravelod: #1005|EIGHTCHR|\n"},
        // A failure of the library's comes before one of the command line.
        {{"nonsense"}, 253, "\nravelod: #1054|-12\n", "dbm_init_process@1=-12"},
        {{"nonsense"}, 255, "\nravelod: #1000\n", "dbm_user_authinfo@1=1073741824"},
        {{"stop", "sample", "0"}, 2, "\nravelod: #1006\n", "rename@1=EACCES"},
        {{"stop", "sample", "0"}, 2, "\nravelod: #1006\n", "rename@1=EPERM"},
        {{"stop", "sample", "0"}, 253, "\nravelod: #1008|5\n", "rename@1=EIO"},
    };
    for (const Case &one : cases) {
        SCOPED_TRACE(one.err + one.faults);
        const TempInstance instance;
        const Outcome outcome = instance.run(one.words, {.faults = one.faults});
        EXPECT_EQ(outcome.status, one.status);
        EXPECT_EQ(outcome.err, one.err);
    }
}

TEST(CommandLine, FirstWordNamesTheInstance) {
    const auto attaches = [](const std::string &word, const std::string &name) {
        const TempInstance instance;
        instance.config(quiet);
        instance.recording(Recording().snapshot(1000));
        instance.write("instance.conf", "name = " + name + "\n");
        Daemon daemon(instance, {.name = word});
        return daemon.pass();
    };
    EXPECT_TRUE(attaches("ninechars", "ninechars"));
    EXPECT_TRUE(attaches("tencharact", "tenchara"));
    EXPECT_FALSE(attaches("tencharact", "tencharac"));
}

TEST(StatusFile, IsNamedAndHeldAsAgreed) {
    struct Case {
        std::string database, node, name;
        int shown;  // node number in the log
    };
    for (const Case &one :
         {Case{"sample", "0", "SAMPLE.0", 0}, Case{"Sample", "00", "SAMPLE.00", 0},
          Case{"sample", "", "SAMPLE", 0}, Case{"sample", " 7x", "SAMPLE. 7x", 7},
          Case{"sample", "65535", "SAMPLE.65535", 65535},
          Case{"sample", "999999", "SAMPLE.9999", 9999},
          Case{"sample", "-1", "SAMPLE.-1", 65535}}) {
        SCOPED_TRACE(one.name);
        const TempInstance instance;
        instance.config(quiet);
        instance.recording(Recording().snapshot(1000));
        Daemon daemon(instance, {.database = one.database, .node = one.node});
        ASSERT_TRUE(daemon.pass());
        const std::string status = "tmp/" + one.name + ".GDA";
        EXPECT_EQ(instance.read(status), "GOVERNOR STATUS FILE");
        struct stat info = {};
        ASSERT_EQ(stat(instance.path(status).c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 07777U, 0640U);
        EXPECT_EQ(instance.log()[0].node, one.shown);
        EXPECT_EQ(daemon.stop().status, 0);
        EXPECT_TRUE(std::filesystem::exists(instance.path("tmp/" + one.name + ".GDB")));
        EXPECT_FALSE(std::filesystem::exists(instance.path(status)));
    }
}

TEST(StatusFile, NameHasAtMost254Bytes) {
    for (const size_t length : {254U, 255U}) {
        const TempInstance instance;
        std::string folder = std::filesystem::canonical(instance.path("")).string() + "/";
        folder.resize(length - std::string("/tmp/SAMPLE.0.GDA").size(), 'x');
        std::filesystem::create_directory(folder);
        const Outcome outcome =
            instance.run({"stop", "sample", "0"}, {.env = {{"DBM_INSTANCE", folder}}});
        EXPECT_EQ(outcome.err,
                  length == 254 ? "\nravelod: #1005|SAMPLE|0\n" : "\nravelod: #1019\n");
    }
}

TEST(StatusFile, OfTwoThatRaceExactlyOneWins) {
    for (int round = rounds(200, 50); round > 0; --round) {
        const TempInstance instance;
        instance.config(quiet);
        instance.recording(Recording().snapshot(1000));
        Daemon first(instance);
        Daemon second(instance, {},
                      {"start", "sample", "0", instance.path("rules.cfg"), instance.path("log2")});
        const bool first_won = first.pass();
        const bool second_won = second.pass();
        ASSERT_NE(first_won, second_won) << "round " << round;
        Daemon &winner = first_won ? first : second;
        Daemon &loser = first_won ? second : first;
        ASSERT_EQ(loser.wait_exit().status, 2);
        ASSERT_EQ(winner.stop().status, 0);
    }
}

}  // namespace
}  // namespace ravelo::test
