// The command line, the status file and the ways in which a daemon begins and ends.
#include <algorithm>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

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
        std::string err;
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
        {{"stop", "eightchr", ""}, 2, "\nravelod: #1005|EIGHTCHR|\n"},
    };
    for (const Case &one : cases) {
        SCOPED_TRACE(one.words.empty() ? "" : one.words[0] + " " + one.words.back());
        const TempInstance instance;
        const Outcome outcome = instance.run(one.words);
        EXPECT_EQ(outcome.status, one.status);
        EXPECT_EQ(outcome.err, one.err);
    }
}

TEST(CommandLine, LibraryHasTheFirstWord) {
    const TempInstance instance;
    const Outcome failed = instance.run({"nonsense"}, {.faults = "dbm_init_process@1=-12"});
    EXPECT_EQ(failed.status, 253);
    EXPECT_EQ(failed.err, "\nravelod: #1054|-12\n");
    const Outcome refused =
        instance.run({"nonsense"}, {.faults = "dbm_user_authinfo@1=1073741824"});
    EXPECT_EQ(refused.status, 255);
    EXPECT_EQ(refused.err, "\nravelod: #1000\n");
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
        struct stat info {};
        ASSERT_EQ(stat(instance.path(status).c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 07777U, 0640U);
        EXPECT_EQ(instance.log()[0].node, one.shown);
        EXPECT_EQ(daemon.stop().status, 0);
        EXPECT_TRUE(std::filesystem::exists(instance.path("tmp/" + one.name + ".GDB")));
        EXPECT_FALSE(std::filesystem::exists(instance.path(status)));
    }
}

TEST(StatusFile, StaleRequestIsDeletedAndSecondStopRefused) {
    const TempInstance instance;
    instance.config(quiet);
    instance.recording(Recording().snapshot(1000).line("end repeat"));
    std::filesystem::create_directory(instance.path("tmp"));
    instance.write("tmp/SAMPLE.0.GDB", "");
    Daemon daemon(instance);
    ASSERT_TRUE(daemon.pass());
    EXPECT_FALSE(std::filesystem::exists(instance.stop_file()));
    EXPECT_EQ(instance.run({"stop", "SAMPLE", "0"}).status, 0);
    EXPECT_EQ(instance.run({"stop", "SAMPLE", "0"}).status, 2);
    EXPECT_EQ(daemon.wait_exit().status, 0);
}

TEST(StatusFile, FailuresOfTheClaim) {
    struct Case {
        std::string faults, err;
        int status;
        bool left;  // the status file
    };
    for (const Case &one : {
             Case{"dbm_instance_path@1=13", "#1018|13", 253, false},
             Case{"open:GDA@1=EEXIST", "#1007", 2, false},
             Case{"open:GDA@1=EACCES", "#1007", 2, false},
             Case{"open:GDA@1=EPERM", "#1007", 2, false},
             Case{"open:GDA@1=ENOSPC", "#1009|28", 253, false},
             Case{"flock:GDA@1=ENOLCK", "#1009|37", 253, false},
             Case{"fcntl:GDA@1=EMFILE", "#1009|24", 253, false},
             Case{"open:GDB@1=EACCES", "#1007", 2, false},
             Case{"unlink:GDB@1=EIO", "#1010|5", 253, false},
             Case{"write:GDA@1=ENOSPC", "#1011|28", 253, false},
             Case{"close:GDA@1=EIO", "#1012|5", 253, true},
         }) {
        SCOPED_TRACE(one.faults);
        const TempInstance instance;
        const std::string rules = instance.config(quiet);
        const Outcome outcome = instance.run({"start", "sample", "0", rules, instance.path("log")},
                                             {.faults = one.faults});
        EXPECT_EQ(outcome.status, one.status);
        EXPECT_EQ(outcome.err, "\nravelod: " + one.err + "\n");
        EXPECT_EQ(std::filesystem::exists(instance.status_file()), one.left);
        EXPECT_EQ(instance.read("log"), "");
    }
}

TEST(StatusFile, FailuresOfTheStop) {
    for (const auto &[fault, err, status] : {std::tuple{"rename@1=EACCES", "#1006", 2},
                                             {"rename@1=EPERM", "#1006", 2},
                                             {"rename@1=EIO", "#1008|5", 253}}) {
        const TempInstance instance;
        const Outcome outcome = instance.run({"stop", "sample", "0"}, {.faults = fault});
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.err, "\nravelod: " + std::string(err) + "\n");
    }
}

TEST(StatusFile, OfTwoThatRaceExactlyOneWins) {
    for (int round = 0; round < 200; ++round) {
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

TEST(Stop, SignalsMakeTheSameRequestAndEndTheSleep) {
    for (const int number : {SIGTERM, SIGINT}) {
        const TempInstance instance;
        instance.config("dbname sample; interval 10; debug 1; setlimit cpu 1;");
        instance.recording(Recording().snapshot(1000).app({.agent_id = 7, .cpu = 5}));
        Daemon daemon(instance);
        ASSERT_TRUE(daemon.pass());
        daemon.signal(number);
        EXPECT_EQ(daemon.wait_exit().status, 0);
        const Lines records = of_type(instance.log());
        EXPECT_EQ(records.back(), "STOP Database = SAMPLE.");
        EXPECT_EQ(std::count(records.begin(), records.end(), "DEBUG #1067|10"), 1);
        EXPECT_TRUE(std::filesystem::exists(instance.stop_file()));
        EXPECT_EQ(instance.journal().size(), 2U);
    }
}

TEST(Stop, SignalWhoseRenameFailsChangesNothing) {
    const TempInstance instance;
    instance.config(quiet);
    instance.recording(Recording().snapshot(1000).line("end repeat"));
    Daemon daemon(instance, {.faults = "rename@1=EIO"});
    ASSERT_TRUE(daemon.pass());
    daemon.signal(SIGTERM);
    EXPECT_TRUE(daemon.pass());
    EXPECT_TRUE(std::filesystem::exists(instance.status_file()));
    EXPECT_EQ(daemon.stop().status, 0);
}

TEST(Stop, RequestThatCannotBeLookedAt) {
    struct Case {
        std::string faults;
        Lines records;
        int status;
    };
    for (const Case &one : {
             Case{"open:GDB@2=EACCES", {"STOP Database = SAMPLE."}, 0},
             Case{"open:GDB@2=EIO", {"ERROR (1050) #1013|5"}, 254},
         }) {
        SCOPED_TRACE(one.faults);
        const TempInstance instance;
        const std::string rules = instance.config(quiet);
        instance.recording(Recording().snapshot(1000));
        EXPECT_EQ(
            instance
                .run({"start", "sample", "0", rules, instance.path("log")}, {.faults = one.faults})
                .status,
            one.status);
        Lines records = of_type(instance.log());
        records.erase(records.begin());  // START
        EXPECT_EQ(records, one.records);
        EXPECT_FALSE(std::filesystem::exists(instance.status_file()) && one.status != 0);
    }
    const TempInstance instance;
    instance.config(quiet);
    instance.recording(Recording().snapshot(1000));
    Daemon daemon(instance, {.faults = "close:GDB@1=EIO"});
    ASSERT_TRUE(daemon.pass());
    EXPECT_EQ(daemon.stop().status, 254);
    EXPECT_EQ(of_type(instance.log(), "ERROR"), Lines{"ERROR (1040) #1012|5"});
    EXPECT_EQ(of_type(instance.log(), "STOP").size(), 1U);
}

TEST(Start, FailuresBehindTheFirstRecord) {
    struct Case {
        std::string faults;
        Lines records;  // behind START
        int status;
        std::string conf;
    };
    for (const Case &one : {
             Case{"dbm_set_client@1=5", {"ERROR (1020) #1054|5"}, 253, "nodes = 2\n"},
             Case{"dbm_attach@1=-1/-77;dbm_message_text:ozusql@1=0",
                  {"ERROR (1025) #1053|DBMSGTXT|-77"},
                  253,
                  ""},
             Case{"dbm_attach@1=-1/-77;dbm_detach@1=-1/-78;dbm_message_text:ozusql@1+=0",
                  {"ERROR (1025) #1053|DBMSGTXT|-77", "ERROR (22120) #1053|DBMSGTXT|-78"},
                  253,
                  ""},
             Case{"calloc@1=ENOMEM", {"ERROR (1030) #1020|12"}, 250, ""},
         }) {
        SCOPED_TRACE(one.faults);
        const TempInstance instance;
        const std::string rules = instance.config(quiet);
        instance.recording(Recording().snapshot(1000));
        instance.write("instance.conf", one.conf);
        EXPECT_EQ(
            instance
                .run({"start", "sample", "0", rules, instance.path("log")}, {.faults = one.faults})
                .status,
            one.status);
        Lines records = of_type(instance.log());
        ASSERT_FALSE(records.empty());
        EXPECT_EQ(records[0], "START #1063|SAMPLE");
        records.erase(records.begin());
        EXPECT_EQ(records, one.records);
        EXPECT_FALSE(std::filesystem::exists(instance.status_file()));
    }
}

TEST(Start, GoesOnWithoutItsTrace) {
    const TempInstance instance;
    instance.config(quiet);
    instance.recording(Recording().snapshot(1000));
    // The third handler, behind those of SIGTERM and SIGINT.
    Daemon daemon(instance, {.faults = "sigaction@3=EINVAL"});
    ASSERT_TRUE(daemon.pass());
    EXPECT_EQ(of_type(instance.log(), "WARNING"), Lines{"WARNING (1035) #102|trapinst|22"});
    EXPECT_EQ(daemon.stop().status, 0);
}

TEST(ShutDown, ReportsWhatFailsAndEndsAllTheSame) {
    struct Case {
        std::string faults;
        Lines errors;
        int status;
    };
    for (const Case &one : {
             Case{"dbm_detach@1=-1/-78;dbm_message_text:ozusql@1=0",
                  {"ERROR (22120) #1053|DBMSGTXT|-78"},
                  253},
             Case{"close:/log@2=EIO", {"ERROR (1140) #1016|0"}, 254},
         }) {
        const TempInstance instance;
        instance.config(quiet);
        instance.recording(Recording().snapshot(1000));
        Daemon daemon(instance, {.faults = one.faults});
        ASSERT_TRUE(daemon.pass());
        EXPECT_EQ(daemon.stop().status, one.status) << one.faults;
        EXPECT_EQ(of_type(instance.log(), "ERROR"), one.errors);
    }
    // The status file can't be deleted behind a failure: the failure's result stands.
    const TempInstance instance;
    const std::string rules = instance.config("nonsense ");
    EXPECT_EQ(instance
                  .run({"start", "sample", "0", rules, instance.path("log")},
                       {.faults = "unlink:GDA@1=EIO"})
                  .status,
              249);
}

}  // namespace
}  // namespace ravelo::test
