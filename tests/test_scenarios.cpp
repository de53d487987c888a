// Plays the scenarios of tests/scenarios, whose README says how they are written: what is recorded,
// what fails, and what must be seen of it. Each is a test of its own, "file.NameWithoutBlanks".
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <sched.h>
#include <sstream>
#include <sys/mount.h>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

struct Entry {
    std::string place, key, value;  // place: "file:line: "
};

struct Scenario {
    std::string name;
    std::vector<Entry> entries{};  // the first is its "scenario"
};

std::string without_blanks(const std::string &words) {
    std::string name;
    bool begins = true;
    for (const char given : words) {
        const auto c = static_cast<unsigned char>(given);
        if (std::isalnum(c) != 0)
            name += static_cast<char>(begins ? std::toupper(c) : c);
        begins = std::isalnum(c) == 0 && c != '\'';
    }
    return name;
}

// One whose name can't serve is called by its line, and fails.
std::vector<Scenario> read_scenarios(const std::string &file, std::istream &text) {
    std::vector<Scenario> all;
    int number = 0;
    for (std::string line; std::getline(text, line);) {
        const std::string place = file + ":" + std::to_string(++number) + ": ";
        std::istringstream words(line);
        Entry read{place, "", ""};
        words >> read.key >> std::ws;
        std::getline(words, read.value);
        if (read.key.empty() || read.key[0] == '#')
            continue;
        if (read.key == "scenario" || all.empty()) {
            const std::string name = read.key == "scenario" ? without_blanks(read.value) : "";
            const bool serves = !name.empty() && std::none_of(all.begin(), all.end(), [&](auto &o) {
                return o.name == name;
            });
            all.push_back({serves ? name : "Line" + std::to_string(number)});
        }
        all.back().entries.push_back(read);
    }
    if (all.empty())
        all.push_back({"Empty", {{file + ": ", "scenario", ""}}});
    return all;
}

Lines all_of(const Scenario &one, const std::string &key) {
    Lines values;
    for (const Entry &entry : one.entries)
        if (entry.key == key)
            values.push_back(entry.value);
    return values;
}

std::string only(const Scenario &one, const std::string &key, const std::string &otherwise = "") {
    const Lines values = all_of(one, key);
    return values.empty() ? otherwise : values[0];
}

int figure(const std::string &text) {
    return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

// What is wrong with a line of a scenario; empty: nothing.
std::string fault_of(const Scenario &one, const Entry &entry) {
    static const std::regex often("before|check|during|error|line|needs|record|rules|snapshot");
    static const std::regex once(
        "scenario|calls|events|faults|log|mount|node|passes|status|stop|zone");
    static const std::regex form(
        "(passes|status) [0-9]{1,5}|stop (yes|no)|zone [A-Z]{3,4}(-?[0-9].*)?|"
        "faults ([a-z_]+(:[^;@]+)?@[1-9][0-9]*[+]?=[-A-Z0-9/]+(;|$))+|"
        "(?!passes|status|stop|zone|faults).*");
    static const std::regex after("after([1-9][0-9]*)");
    std::smatch part;
    if (entry.value.empty())
        return "has no value";
    if (!std::regex_match(entry.key + " " + entry.value, form))
        return "has a value that can't be";
    if (&entry == one.entries.data() && entry.key != "scenario")
        return "stands before the first scenario";
    if (entry.key == "scenario" && one.name != without_blanks(entry.value))
        return "has a name that is empty or another's";
    if (std::regex_match(entry.key, part, after))
        return figure(part[1]) > figure(only(one, "passes")) ? "has no such pass" : "";
    if (std::regex_match(entry.key, once))
        return all_of(one, entry.key).size() > 1 ? "may stand there once only" : "";
    return std::regex_match(entry.key, often) ? "" : "is no key";
}

Lines faults_of(const Scenario &one) {
    Lines faults;
    for (const Entry &entry : one.entries)
        if (const std::string fault = fault_of(one, entry); !fault.empty())
            faults.push_back(entry.place + entry.key + " " + fault);
    return faults;
}

std::string joined(const Lines &lines, const std::string &between) {
    std::string all;
    for (const std::string &line : lines)
        all += (&line == lines.data() ? "" : between) + line;
    return all;
}

uint32_t number(const std::string &text, uint32_t otherwise) {
    return text.empty() ? otherwise : static_cast<uint32_t>(std::stoul(text.substr(1)));
}

void add_application(Recording &played, const std::string &text) {
    static const std::regex form(
        "([0-9]+)((?:/[0-9]+(?:@[0-9]+)?)*)(![0-9]+)?(>[0-9]+)?(=[0-9]+)?");
    std::smatch part;
    ASSERT_TRUE(std::regex_match(text, part, form)) << text;
    const std::string agent = part[1];
    played.app({.agent_id = number("#" + agent, 0),
                .applname = "tool",
                .appl_id = "id" + agent,
                .authid = "JOE",
                .cpu = number(part[5], 60),
                .locks = number(part[3], 0),
                .ref = number(part[4], 0)});
    const std::string statements = part[2];
    static const std::regex statement("(/[0-9]+)(@[0-9]+)?");
    for (std::sregex_iterator at(statements.begin(), statements.end(), statement), end; at != end;
         ++at)
        played.statement(number((*at)[1], 0), number((*at)[2], 900));
}

Recording recording_of(const Scenario &one) {
    Recording played;
    for (const Entry &entry : one.entries) {
        if (entry.key == "line")
            played.line(entry.value);
        if (entry.key != "snapshot")
            continue;
        std::istringstream words(entry.value);
        std::string word;
        words >> word;
        played.snapshot(static_cast<uint32_t>(std::stoul(word)));
        while (words >> word)
            add_application(played, word);
    }
    return played;
}

// Runs the commands of a key in the instance's directory. Returns the one that failed, or nothing.
// None of them may be unknown to the shell.
std::string run_all(const Scenario &one, const std::string &key, const TempInstance &instance,
                    pid_t daemon = 0) {
    const std::string head =
        "cd '" + instance.path("") + "' && daemon=" + std::to_string(daemon) + " && { ";
    for (const std::string &command : all_of(one, key)) {
        // NOLINTNEXTLINE(cert-env33-c): that a shell runs them is the point
        const int status = std::system((head + command + "\n}").c_str());
        EXPECT_LT(WEXITSTATUS(status), 126) << command;
        if (status != 0)
            return command;
    }
    return "";
}

// Where a scenario that says "mount FOLDER OPTIONS" mounts.
std::string mount_point(const Scenario &one, const TempInstance &instance) {
    const std::string value = only(one, "mount");
    return instance.path(value.substr(0, value.find(' ')));
}

// Mounts what a scenario asks for, in a mount namespace of this process' own: it
// is gone when the process is, however that ends. Returns why it may not.
std::string mount_for(const Scenario &one, const TempInstance &instance) {
    const std::string options = only(one, "mount");
    if (options.empty())
        return "";
    const std::string path = mount_point(one, instance);
    std::filesystem::create_directory(path);
    const bool mounted =
        unshare(CLONE_NEWNS) == 0 &&
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
        mount("none", path.c_str(), "tmpfs", 0, options.substr(options.find(' ') + 1).c_str()) == 0;
    return mounted ? "" : "may not mount: " + std::string(std::strerror(errno));
}

// The journal's force and priority calls, the latter without their name.
Lines calls_of(const TempInstance &instance) {
    Lines calls;
    for (const std::string &call : instance.calls())
        if (call.starts_with("priority ") || call.starts_with("force "))
            calls.push_back(call.substr(call[0] == 'p' ? 9 : 0));
    return calls;
}

struct Records {
    Lines events{}, errors{}, others{};
};

// The log's records by what scenarios call them. What is no file has none.
Records records_of(const TempInstance &instance, const std::string &log) {
    const std::string root = instance.path("");
    const auto usual = [](const std::string &record) -> std::string {
        if (record == "START #1063|SAMPLE" || record == "READCFG #1064|rules.cfg" ||
            record == "STOP Database = SAMPLE.")
            return record.substr(0, record.find(' '));
        return std::regex_replace(record, std::regex("^(READCFG )#1065[|]"), "$1");
    };
    Records found;
    if (!std::filesystem::is_regular_file(instance.path(log)))
        return found;
    for (std::string record : of_type(parse_log(instance.read(log)))) {
        if (const size_t at = record.find(root); at != std::string::npos)
            record.erase(at, root.size());
        if (record.starts_with("ERROR") || record.starts_with("WARNING"))
            found.errors.push_back(record);
        else if (std::regex_search(record, std::regex("^(START|READCFG|STOP)")))
            found.events.push_back(usual(record));
        else
            found.others.push_back(record);
    }
    return found;
}

// START, READCFG and STOP as they follow from the rules and the end.
std::string usual_events(const std::string &rules, bool stops) {
    std::smatch level;
    const bool talks = std::regex_search(rules, level, std::regex("debug ([1-5])"));
    return "START, READCFG" + (talks ? ", READCFG 0|" + level.str(1) : "") +
           (stops ? ", STOP" : "");
}

// Plays a scenario; returns why it was left out, or nothing.
std::string play(const Scenario &one) {
    EXPECT_EQ(faults_of(one), Lines{});
    const TempInstance instance;
    const std::string faults = only(one, "faults");
    auto unfit =
        std::count(faults.begin(), faults.end(), '=') - (faults.starts_with("dbm_m") ? 1 : 0);
    const std::string rules = joined(all_of(one, "rules"), "\n");
    instance.config("dbname sample; interval 10; " + rules);
    instance.recording(recording_of(one));
    instance.write("during", joined(all_of(one, "during"), "\n") + "\n");
    if (const std::string lacking = run_all(one, "needs", instance); !lacking.empty())
        return "needs " + lacking;
    if (const std::string refused = mount_for(one, instance); !refused.empty())
        return refused;
    EXPECT_EQ(run_all(one, "before", instance), "");
    const std::string node = only(one, "node", "0");
    const std::string log = only(one, "log", "log");
    Daemon daemon(instance,
                  {.faults = faults,
                   .node = node,
                   .count_calls = !faults.empty(),
                   .env = {{"TZ", only(one, "zone", "UTC")}}},
                  {"start", "sample", node, instance.path("rules.cfg"), instance.path(log)});
    const int passes = figure(only(one, "passes"));
    for (int i = 1; i <= passes; ++i) {
        EXPECT_TRUE(daemon.pass()) << i;
        EXPECT_EQ(run_all(one, "after" + std::to_string(i), instance, daemon.pid()), "");
    }
    const int status = figure(only(one, "status"));
    const bool stops = only(one, "stop", status == 0 ? "yes" : "no") == "yes";
    const Outcome &outcome = stops ? daemon.stop() : daemon.wait_exit();
    EXPECT_EQ(outcome.status, status) << outcome.err;
    (void)instance.write("err", outcome.err);
    // "dbm_message_text" is not counted.
    for (const std::string &call : instance.counted_calls())
        unfit -= call.starts_with("struck") ? 1 : 0;
    EXPECT_LE(unfit, 0) << "a fault fits no call";
    EXPECT_EQ(run_all(one, "check", instance), "") << outcome.err << instance.read("log");
    EXPECT_EQ(joined(calls_of(instance), ", "), only(one, "calls"));
    const Records found = records_of(instance, log);
    EXPECT_EQ(found.events.empty() ? "none" : joined(found.events, ", "),
              only(one, "events", usual_events(rules, stops)));
    EXPECT_EQ(found.errors, all_of(one, "error"));
    if (const Lines records = all_of(one, "record"); !records.empty()) {
        EXPECT_EQ(found.others, records);
    }
    (void)umount2(mount_point(one, instance).c_str(), MNT_DETACH);  // only then can it be removed
    return "";
}

class Played : public testing::Test {
  public:
    explicit Played(Scenario one) : one_(std::move(one)) {}
    void TestBody() override {
        const std::string left_out = play(one_);
        if (!left_out.empty())
            GTEST_SKIP() << left_out;
    }

  private:
    Scenario one_;
};

[[maybe_unused]] const bool registered = [] {
    for (const auto &entry : std::filesystem::directory_iterator(RAVELO_SCENARIOS)) {
        if (entry.path().extension() != ".txt")
            continue;
        std::ifstream text(entry.path());
        for (const Scenario &one : read_scenarios(entry.path().filename(), text))
            testing::RegisterTest(entry.path().stem().c_str(), one.name.c_str(), nullptr, nullptr,
                                  __FILE__, __LINE__,
                                  [one]() -> testing::Test * { return new Played(one); });
    }
    return true;
}();

TEST(Scenarios, MistakesAreNamedWithFileAndLine) {
    std::istringstream text(R"(# A comment.
rules    setlimit cpu 1;
scenario good, isn't it
rules    setlimit cpu 1;
rules    setlimit cpu 2;
passes   2
after2   true
scenario
scenario Good isn't it
scenario bad
recrod   DEBUG
chek     false
after9   false
after0   false
passes   8
eror     WARNING
calls    force 1
calls    force 1
check
scenario figures
passes   3x
status   0y
stop     maybe
zone     Nowhere
faults   open:log@@1=EIO
)");
    Lines names, faults;
    for (const Scenario &one : read_scenarios("x.txt", text)) {
        names.push_back(one.name);
        const Lines more = faults_of(one);
        faults.insert(faults.end(), more.begin(), more.end());
    }
    EXPECT_EQ(names, (Lines{"Line2", "GoodIsntIt", "Line8", "Line9", "Bad", "Figures"}));
    EXPECT_EQ(
        faults,
        (Lines{"x.txt:2: rules stands before the first scenario", "x.txt:8: scenario has no value",
               "x.txt:9: scenario has a name that is empty or another's",
               "x.txt:11: recrod is no key", "x.txt:12: chek is no key",
               "x.txt:13: after9 has no such pass", "x.txt:14: after0 is no key",
               "x.txt:16: eror is no key", "x.txt:17: calls may stand there once only",
               "x.txt:18: calls may stand there once only", "x.txt:19: check has no value",
               "x.txt:21: passes has a value that can't be",
               "x.txt:22: status has a value that can't be",
               "x.txt:23: stop has a value that can't be",
               "x.txt:24: zone has a value that can't be",
               "x.txt:25: faults has a value that can't be"}));
    std::istringstream nothing;
    EXPECT_EQ(faults_of(read_scenarios("y.txt", nothing).at(0)),
              Lines{"y.txt: scenario has no value"});
}

TEST(Scenarios, SayWhyTheyAreLeftOut) {
    std::istringstream text("scenario x\nneeds true\nneeds test -e absent\ncheck false\n");
    EXPECT_EQ(play(read_scenarios("x.txt", text).at(0)), "needs test -e absent");
}

}  // namespace
}  // namespace ravelo::test
