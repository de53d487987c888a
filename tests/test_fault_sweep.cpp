// One scenario, played again and again: with its first fallible call failing, then with its second,
// until a run meets no failure. tests/sweep/README.md says what is played and held.
#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <system_error>
#include <utility>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

namespace fs = std::filesystem;
const fs::path folder = RAVELO_SWEEP;
constexpr auto over = fs::copy_options::overwrite_existing;
constexpr int shards = 4;  // that share a sweep

// Between the calls that a sweep lets fail.
int stride() {
    return rounds(1, 5);
}

Lines split(std::string text, const std::string &at) {
    Lines parts;
    for (size_t end = 0; (end = text.find(at)) != std::string::npos; text.erase(0, end + at.size()))
        parts.push_back(text.substr(0, end));
    parts.push_back(text);
    return parts;
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    for (size_t at = 0; (at = text.find(from)) != std::string::npos;)
        text.replace(at, from.size(), to);
    return text;
}

// The lines of a table with their fields, without comments and empty lines.
std::vector<Lines> read_table(const std::string &name) {
    std::vector<Lines> table;
    std::ifstream file(folder / name);
    for (std::string line; std::getline(file, line);)
        if (!line.empty() && line[0] != '#')
            table.push_back(split(line, " => "));
    return table;
}

// A text without what differs from run to run, and with a time for one that could not be shown.
std::string neutral(const TempInstance &instance, const std::string &text) {
    return replaced(replaced(text, instance.path(""), ""), "9999-99-99-99.99.99",
                    "1970-01-01-00.15.00");
}

// What a run of the daemon left.
struct Played {
    int status = -1;
    long calls = 0;         // counted ones; 0 of a daemon that was killed
    Lines strikes{};        // the calls up to each that failed
    Lines records{};        // of the log
    Lines lost{};           // those that standard error had to take
    Lines reports{};        // on standard error
    std::string context{};  // where the first failure struck, as far as its calls don't say
    Lines journal{};
};

const std::vector<Lines> &calls_table() {
    static const std::vector<Lines> table = read_table("calls.txt");
    return table;
}

// How many of the journal's calls are those of a run without failures.
size_t common_calls(const Lines &journal) {
    size_t common = 0;
    while (common < journal.size() && common < calls_table().size() &&
           journal[common] == calls_table()[common][0])
        ++common;
    return common;
}

const Played &undisturbed();

// Takes the records that are those of a run without failures out of what the run wrote, in their
// order. Returns how many they are; the rest is in found.
size_t take_known(const Played &run, const Lines &known, Lines &found) {
    size_t count = 0;
    Lines lost = run.lost;
    const auto is_next = [&](const std::string &text) {
        const bool next = count < known.size() && text == known[count];
        count += next;
        return next;
    };
    const auto take_lost = [&] {
        while (!lost.empty() && is_next(lost[0]))
            lost.erase(lost.begin());
    };
    for (const std::string &record : run.records) {
        if (is_next(record))
            continue;
        take_lost();
        if (!is_next(record))
            found.push_back(record);
    }
    take_lost();
    found.insert(found.end(), lost.begin(), lost.end());
    return count;
}

// What a byte of the configuration belongs to: its kind, its line, and the line's text up to it.
std::string place_in(const std::string &text, size_t position) {
    const std::string before = text.substr(0, position);
    char within = ' ';
    for (const char c : before)
        if (within == ' ' ? c == '{' || c == '"' : c == (within == '{' ? '}' : within))
            within = within == ' ' ? c : ' ';
    const std::string kind = within == '{' ? "comment " : within == '"' ? "string " : "token ";
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    return kind + std::to_string(line) + " " + before.substr(before.rfind('\n') + 1);
}

// The context of a failure: a place in the configuration, the location of an action, the record
// that would have been next, or else the one that met it.
std::string context_of(const TempInstance &instance, const Played &run, const std::string &victim) {
    static const std::regex in_config(".*getc [^:]*:([0-9]+)( > calloc memory)*");
    static const std::regex acting(".*> dbm_(set_agent|force)[^>]*");
    std::smatch part;
    for (const std::string &strike : run.strikes) {
        if (std::regex_match(strike, part, in_config))
            return place_in(instance.read("rules.cfg"), std::stoul(part[1]));
        if (std::regex_match(strike, acting))
            return calls_table().at(common_calls(run.journal)).at(1);
        Lines found;
        const Lines &all = undisturbed().records;
        if (!strike.ends_with("calloc memory"))
            continue;
        const size_t known = take_known(run, all, found);
        return known < all.size() ? all[known] : victim;  // it may have done without
    }
    return victim;
}

// What a program left that ran with count_calls.
Played left_by(const TempInstance &instance, const Outcome &outcome) {
    Played run{.status = outcome.status, .strikes = instance.counted_calls()};
    if (!run.strikes.empty() && run.strikes.back().starts_with("calls ")) {
        run.calls = std::stol(run.strikes.back().substr(6));
        run.strikes.pop_back();
    }
    std::string victim;
    for (const LogLine &line : parse_log(instance.read("log"))) {
        run.records.push_back(neutral(instance, of_type({line})[0]));
        if (victim.empty() && line.timestamp[0] == '9' && !line.text.starts_with("#1050"))
            victim = run.records.back();
    }
    const std::string frame = "ravelod: ";
    for (const std::string &line : split_lines(outcome.err))
        if (line.starts_with(frame))
            run.reports.push_back("stderr " + neutral(instance, line.substr(frame.size())));
        else if (line.starts_with("#"))
            run.reports.push_back(neutral(instance, line));
        else if (!line.empty())
            run.lost.push_back(neutral(instance, of_type(parse_log(line + "\n")).at(0)));
    run.journal = instance.calls("SAMPLE.1");
    run.context =
        context_of(instance, run, victim.empty() && !run.lost.empty() ? run.lost[0] : victim);
    return run;
}

// Plays the scenario as far as the daemon goes.
Outcome drive(const TempInstance &instance, const std::string &faults) {
    Daemon daemon(instance, {.faults = faults, .node = "1", .count_calls = true});
    if (daemon.passes(3)) {
        fs::copy_file(folder / "changed.cfg", instance.path("rules.cfg"), over);
        std::error_code ignored;
        if (daemon.pass())
            fs::rename(instance.status_file("SAMPLE.1"), instance.stop_file("SAMPLE.1"), ignored);
    }
    return daemon.wait_exit();
}

void set_up(const TempInstance &instance) {
    fs::copy(folder / "instance", instance.path(""), fs::copy_options::recursive | over);
}

Played play(const TempInstance &instance, const std::string &faults) {
    set_up(instance);
    return left_by(instance, drive(instance, faults));
}

const Played &undisturbed() {
    static const Played run = play(TempInstance(), "");
    return run;
}

// The reports of a strike and how it ends the daemon, by the first line of failures.txt that fits.
std::pair<Lines, std::string> expected_of(const std::string &struck, const std::string &context,
                                          int status) {
    const std::string strike = struck + " | " + context;
    struct Line {
        std::regex form;
        std::string reports, end;
    };
    static const std::vector<Line> table = [] {
        std::vector<Line> lines;
        for (const Lines &line : read_table("failures.txt"))
            lines.push_back(
                {std::regex(line[0] + (line[0].find("\\|") < line[0].size() ? "" : " +\\|")),
                 line.at(1), line.at(2)});
        return lines;
    }();
    std::smatch part;
    for (const Line &line : table)
        if (std::regex_search(strike, part, line.form)) {
            const std::string result = std::to_string(status == 0 ? 0 : status - 256);
            const std::string reports = replaced(part.format(line.reports), "RESULT", result);
            return {reports == "-" ? Lines{} : split(reports, " & "), line.end};
        }
    ADD_FAILURE() << "no line of failures.txt fits " << strike;
    return {{}, "on"};
}

// What a run that met failures must have left.
void hold(const TempInstance &instance, const Played &run, const Played &base) {
    Lines found = run.reports;
    const size_t known = take_known(run, base.records, found);
    Lines expected;
    int status = base.status;
    bool left = false;
    std::string context = run.context;
    for (const std::string &strike : run.strikes) {
        const auto [reports, end] = expected_of(strike, context, status);
        if (!reports.empty())
            context.clear();
        expected.insert(expected.end(), reports.begin(), reports.end());
        status = status == 0 && !end.starts_with("on") ? std::stoi(end) : status;
        left = left || end.ends_with("left");
    }
    std::sort(found.begin(), found.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(found, expected);
    EXPECT_EQ(run.status, status);
    EXPECT_EQ(fs::exists(instance.status_file("SAMPLE.1")), left);
    if (status == 0 && !left) {
        EXPECT_EQ(known, base.records.size());
        EXPECT_TRUE(fs::exists(instance.stop_file("SAMPLE.1")));
    }
}

// Every priority that was set has been given back once, where the library could be asked to.
void hold_priorities(const Played &run) {
    const size_t common = common_calls(run.journal);
    std::set<std::string> owed;  // as the calls that give priorities back
    for (size_t i = 0; i < common; ++i) {
        const std::string &call = calls_table()[i][0];
        const std::string &site = calls_table()[i][1];
        const std::string back = call.substr(0, call.rfind(' ')) + " 0";
        if (site == "21010" || site.starts_with("22"))
            owed.erase(back);
        else if (call.starts_with("priority"))
            owed.insert(back);
    }
    size_t excused = 0;
    for (const std::string &strike : run.strikes)
        excused += strike.find("dbm_set_agent", strike.rfind('>')) != std::string::npos ? 1 : 0;
    std::set<std::string> returned;
    for (size_t i = common; i < run.journal.size(); ++i) {
        EXPECT_TRUE(run.journal[i].ends_with(" 0")) << run.journal[i];
        EXPECT_TRUE(returned.insert(run.journal[i]).second) << run.journal[i];
        owed.erase(run.journal[i]);
    }
    EXPECT_LE(owed.size(), excused);
}

class FaultSweep : public testing::TestWithParam<std::pair<Lines, int>> {};

// Every line of sweeps.txt, with the first calls that its shards let fail.
std::vector<std::pair<Lines, int>> shared_sweeps() {
    std::vector<std::pair<Lines, int>> sweeps;
    for (const Lines &sweep : read_table("sweeps.txt"))
        for (int call = 1; call <= (sweep[0].starts_with("*") ? shards : 1); ++call)
            sweeps.emplace_back(sweep, call);
    return sweeps;
}

TEST_P(FaultSweep, EveryFailureIsReportedAndLeavesNothing) {
    const auto &[sweep, first] = GetParam();
    const Played base = sweep.size() > 1 ? play(TempInstance(), sweep[1]) : undisturbed();
    const int step = sweep[0].starts_with("*") ? shards * stride() : 1;
    // Before the failure that belongs to them all are as those of an undisturbed run.
    const int skipped = base.strikes.empty() ? 0 : static_cast<int>(base.calls) - 50;
    for (int call = first + skipped;; call += step) {
        const auto at = [&](int n) { return "@" + std::to_string(call + n); };
        const std::string faults = replaced(replaced(sweep[0], "@N", at(0)), "@M", at(1));
        SCOPED_TRACE(faults);
        const TempInstance instance;
        Played run = play(instance, faults);
        if (run.strikes == base.strikes && run.calls == base.calls)
            break;
        if (!base.strikes.empty() && run.strikes.size() <= base.strikes.size())
            continue;  // it has not come to the failure that belongs to it
        std::erase_if(run.strikes, [&](const std::string &strike) {
            return std::find(base.strikes.begin(), base.strikes.end(), strike) !=
                   base.strikes.end();
        });
        hold(instance, run, base);
        if (!sweep[0].starts_with("dbm_"))  // whose calls are not in the journal
            hold_priorities(run);
        if (faults == sweep[0])
            break;
    }
}

INSTANTIATE_TEST_SUITE_P(Every, FaultSweep, testing::ValuesIn(shared_sweeps()));

TEST(FaultSweepOf, AnUndisturbedRun) {
    EXPECT_EQ(undisturbed().status, 0);
    EXPECT_EQ(undisturbed().reports, Lines{});
    EXPECT_EQ(common_calls(undisturbed().journal), calls_table().size());
    EXPECT_EQ(undisturbed().journal.size(), calls_table().size());
}

TEST(FaultSweepOf, ShortCommands) {
    for (const std::string word : {"stop", "validate"})
        for (int call = 1;; call += stride()) {
            const TempInstance instance;
            set_up(instance);
            instance.write("tmp/SAMPLE.1.GDA", "");
            const Options options{.faults = "*@" + std::to_string(call) + "=FAIL",
                                  .count_calls = true};
            const std::string last = word == "stop" ? "1" : instance.path("rules.cfg");
            const Played run = left_by(instance, instance.run({word, "sample", last}, options));
            if (run.strikes.empty())
                break;
            auto [reports, end] = expected_of(run.strikes[0], run.context, 0);
            for (std::string &report : reports)
                report = std::regex_replace(report, std::regex("^ERROR .[0-9]+. "), "");
            EXPECT_EQ(run.reports, reports) << run.strikes[0];
            EXPECT_EQ(run.status, end.starts_with("on") ? 0 : std::stoi(end)) << run.strikes[0];
            EXPECT_EQ(fs::exists(instance.status_file("SAMPLE.1")),
                      run.status != 0 || word == "validate");
        }
}

// Lets the next daemon govern behind one that was killed.
Played play_next(const TempInstance &instance) {
    if (fs::exists(instance.status_file("SAMPLE.1"))) {
        EXPECT_EQ(instance.run({"start", "sample", "1", "rules.cfg", "log2"}).err,
                  "\nravelod: #1007\n");
        EXPECT_EQ(instance.run({"stop", "sample", "1"}).status, 0);
    }
    fs::copy_file(folder / "instance/rules.cfg", instance.path("rules.cfg"), over);
    fs::remove(instance.path("calls"));
    return left_by(instance, drive(instance, ""));
}

class KillSweep : public testing::TestWithParam<int> {};

// What a killed daemon has written stays, and the next one governs as if it had never been.
TEST_P(KillSweep, TheNextDaemonRunsAndNothingIsLost) {
    for (int call = GetParam();; call += 2 * shards * stride()) {
        SCOPED_TRACE(call);
        const TempInstance instance;
        const Played killed = play(instance, "*@" + std::to_string(call) + "=KILL");
        if (killed.strikes.empty())
            break;
        EXPECT_EQ(killed.status, 128 + SIGKILL);
        Lines found = killed.reports;
        (void)take_known(killed, undisturbed().records, found);
        EXPECT_EQ(found, Lines{});
        const Played next = play_next(instance);
        const auto behind = [](Lines before, const Lines &all, long skipped) {
            before.insert(before.end(), all.begin() + skipped, all.end());
            return before;
        };
        EXPECT_EQ(next.status, 0);
        EXPECT_EQ(next.records, behind(killed.records, undisturbed().records, 1));
        EXPECT_EQ(next.journal, behind(killed.journal, undisturbed().journal, 0));
    }
}

INSTANTIATE_TEST_SUITE_P(EverySecond, KillSweep, testing::Range(1, 2 * shards, 2));

TEST(KillSweepOf, HalfARecord) {
    for (int call = 1;; call += 3 * stride()) {
        const TempInstance instance;
        set_up(instance);
        const std::string half_written = "write:/log@" + std::to_string(call) + "=SHORT;";
        const std::string kill = "write:/log@" + std::to_string(call + 1) + "=KILL";
        if (drive(instance, half_written + kill).status == 0)
            break;
        const std::string half = instance.read("log");
        EXPECT_FALSE(half.ends_with("\n"));
        fs::rename(instance.path("log"), instance.path("half"));
        EXPECT_EQ(play_next(instance).status, 0);
    }
}

}  // namespace
}  // namespace ravelo::test
