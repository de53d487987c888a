// Runs the daemon and its short commands in an instance directory of the test's own, with the fault
// shim preloaded: the test decides when the daemon's next pass begins and which of its calls fail.
// Waiting is always for an event; what takes longer than patience_ms fails the test.
#pragma once

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace ravelo::test {

constexpr int patience_ms = 60000;

// How many rounds a test takes, or how far apart they are: where RAVELO_LONG is set, the first; in
// a plain run, which is to be quick, the second.
[[nodiscard]] int rounds(int in_full, int in_short);

using Lines = std::vector<std::string>;

// How a program is run.
//
// Faults are a list, separated by ';', of call[:subject]@n=code: the program's n-th such call
// fails; with n+ every one from the n-th on does.
//   call     open lseek read write ftruncate fcntl flock close unlink rename access fstat
//            stat fdopen fileno getc fclose clock_gettime localtime_r sigaction calloc ppoll, and
//            the dbm_ operations that have a result; "*" any of them but ppoll and
//            dbm_message_text: the n-th call of all, and with n+ also every later one of the
//            function it struck
//   subject  part of the file's path; for dbm_message_text part of the catalog's name. Calls on
//            descriptors 0 to 2 never fail.
//   code     an errno name or number; for dbm_ operations result or result/SQL code; FAIL what
//            suits the call; KILL ends the process at the call; for write, SHORT writes half;
//            RUN runs the instance's file "during", commands of a shell, and lets the call go on
struct Options {
    std::string faults{};
    bool plain = true;                // messages as "#number|token|token" instead of their texts
    std::string name = "ravelod";     // first word of the command line: the instance name
    std::string database = "SAMPLE";  // of a Daemon
    std::string node = "0";           // of a Daemon
    bool count_calls = false;         // see TempInstance::counted_calls
    std::map<std::string, std::string> env{};
};

// What a program that has ended left.
struct Outcome {
    int status = -1;  // exit status; 128 + the signal that ended it
    std::string out{}, err{};
};

// One record of the log.
struct LogLine {
    std::string timestamp{};
    int node = -1;
    std::string type{};
    int location = -1;  // -1: none
    std::string text{}, raw{};
};

// Every line of a log. A line that is no record fails the test.
std::vector<LogLine> parse_log(const std::string &text);
// The records of one type, or of every type: "TYPE text", with a location "TYPE (location) text".
Lines of_type(const std::vector<LogLine> &log, std::string_view type = "");
Lines split_lines(const std::string &text);
// Value of a field of a journal line; empty when it has none.
std::string journal_field(const std::string &line, const std::string &name);

// One application as a snapshot shows it; what is 0 or empty is left out of the recording. Texts
// may hold any byte.
struct App {
    uint32_t agent_id = 0;
    std::string applname{}, appl_id{}, authid{};
    uint32_t cpu = 0, cpu_us = 0, system_cpu = 0, system_cpu_us = 0;
    uint32_t locks = 0, rows_selected = 0, rows_read = 0, idle = 0;
    uint32_t conn_time = 0, uow_start = 0, uow_stop = 0, ref = 0, aux = 0;
};

// Recording().snapshot(100).app({.agent_id = 7, .cpu = 61}).statement(1, 90).line("end empty")
class Recording {
  public:
    Recording &line(const std::string &text);
    Recording &snapshot(uint32_t time);
    Recording &app(const App &app);
    Recording &statement(uint32_t weight, uint32_t start);

    std::string text = "recording 1\n";
};

// An instance directory, removed at the end.
class TempInstance {
  public:
    TempInstance();
    ~TempInstance();
    TempInstance(const TempInstance &) = delete;
    TempInstance &operator=(const TempInstance &) = delete;

    [[nodiscard]] std::string path(const std::string &name) const { return dir_ / name; }
    // The content of a file; empty when there is none.
    [[nodiscard]] std::string read(const std::string &name) const;
    // Writes a file of the directory and returns its path.
    std::string write(const std::string &name, const std::string &text) const;

    std::string config(const std::string &text) const { return write("rules.cfg", text); }
    std::string recording(const Recording &played, const std::string &name = "SAMPLE.0") const {
        return write(name + ".recording", played.text);
    }
    [[nodiscard]] std::string status_file(const std::string &name = "SAMPLE.0") const {
        return path("tmp/" + name + ".GDA");
    }
    [[nodiscard]] std::string stop_file(const std::string &name = "SAMPLE.0") const {
        return path("tmp/" + name + ".GDB");
    }
    [[nodiscard]] Lines journal(const std::string &name = "SAMPLE.0") const {
        return split_lines(read("tmp/" + name + ".journal"));
    }
    // The calls of the journal, short: "force 7", "priority 7 10".
    [[nodiscard]] Lines calls(const std::string &name = "SAMPLE.0") const;
    [[nodiscard]] std::vector<LogLine> log() const { return parse_log(read("log")); }
    // "priority|text" each; one that was used as a format begins with "FORMAT!".
    [[nodiscard]] Lines system_log() const { return split_lines(read("syslog")); }
    // After a run with count_calls: a line for each call that a rule let fail, its code and the
    // latest calls up to it, "struck CODE > function subject > function subject", and at last
    // "calls" and how many calls "*" counted. Subjects are names without their folder; a byte read
    // adds ":" and its position.
    [[nodiscard]] Lines counted_calls() const { return split_lines(read("calls")); }

    // Runs a command of ravelod to its end; a start's sleeps are skipped.
    [[nodiscard]] Outcome run(const Lines &words, const Options &options = {}) const;

  private:
    std::filesystem::path dir_;
};

// A running ravelod: start <database> <node> rules.cfg log, unless other words are given. It runs
// by itself to the end of its first pass.
class Daemon {
  public:
    explicit Daemon(const TempInstance &instance, const Options &options = {});
    Daemon(const TempInstance &instance, const Options &options, Lines words);
    ~Daemon();
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;

    // Lets it run until it sleeps again; the first time, waits for the first pass. False: it ended.
    bool pass() { return passes(1); }
    bool passes(int count);
    // Sends a signal and, when the daemon sleeps, waits until it has woken up or ended. A sleep
    // that it resumes after the signal counts as the end of a pass.
    void signal(int number);
    // Lets it run on until it has ended.
    const Outcome &wait_exit();
    // Runs the stop command, which has to succeed, and waits for the end.
    const Outcome &stop();
    [[nodiscard]] pid_t pid() const { return pid_; }

  private:
    char event();

    const TempInstance &instance_;
    Options options_;
    pid_t pid_ = -1;  // 0: it has ended
    int step_fd_ = -1;
    int out_;
    int err_;
    bool asleep_ = false;
    Outcome outcome_;
};

}  // namespace ravelo::test
