#include "tests/harness.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <poll.h>
#include <regex>
#include <sstream>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace ravelo::test {
namespace {

constexpr int inherited_step_fd = 100;
constexpr int inherited_shim_fd = 101;  // a path to preload may hold no blank

std::string whole_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A value of a recording: any byte that doesn't stand for itself is written in hexadecimal.
std::string quoted(const std::string &value) {
    std::ostringstream text;
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= ' ' && byte <= '~' && c != '"' && c != '\\') {
            text << c;
        } else {
            text << "\\x" << std::hex << byte / 16 << byte % 16;
        }
    }
    return "\"" + text.str() + "\"";
}

void require(bool worked, const char *what) {
    if (!worked)
        throw std::system_error(errno, std::generic_category(), what);
}

void set_environment(const TempInstance &instance, const Options &options) {
    const char *const sanitizer = getenv("ASAN_OPTIONS");
    std::map<std::string, std::string> values{
        {"DBM_INSTANCE", std::filesystem::path(instance.path("log")).parent_path()},
        {"LD_PRELOAD", "/proc/self/fd/" + std::to_string(inherited_shim_fd)},
        {"ASAN_OPTIONS", std::string(sanitizer ? sanitizer : "") + ":verify_asan_link_order=0"},
        {"TZ", "UTC"},
        {"LC_ALL", "C"},
        {"RAVELO_FAULTS", options.faults},
        {"RAVELO_FAULT_COUNT", options.count_calls ? instance.path("calls") : ""},
        {"RAVELO_SYSLOG", instance.path("syslog")},
        {"RAVELO_PLAIN", options.plain ? "1" : ""},
        {"RAVELO_STEP_FD", std::to_string(inherited_step_fd)}};
    for (const auto &[name, value] : options.env)
        values[name] = value;
    for (const auto &[name, value] : values)
        (void)setenv(name.c_str(), value.c_str(), 1);
}

}  // namespace

int rounds(int in_full, int in_short) {
    static const bool in_full_asked = getenv("RAVELO_LONG") != nullptr;
    return in_full_asked ? in_full : in_short;
}

std::vector<LogLine> parse_log(const std::string &text) {
    static const std::regex form(
        R"(([0-9]{4}(?:-[0-9]{2}){3}(?:\.[0-9]{2}){2}) +([0-9]+) ([A-Z]+) +)"
        R"((?:\(([0-9]+)\) )?([^]*))");
    EXPECT_TRUE(text.empty() || text.ends_with('\n')) << "the last line has no end:\n" << text;
    std::vector<LogLine> log;
    for (const std::string &raw : split_lines(text)) {
        std::smatch part;
        if (!std::regex_match(raw, part, form)) {
            ADD_FAILURE() << "no log record: " << raw;
            continue;
        }
        const int location = part[4].matched ? std::stoi(part[4]) : -1;
        log.push_back({part[1], std::stoi(part[2]), part[3], location, part[5], raw});
    }
    return log;
}

Lines of_type(const std::vector<LogLine> &log, std::string_view type) {
    Lines result;
    for (const LogLine &line : log) {
        const std::string place =
            line.location < 0 ? "" : "(" + std::to_string(line.location) + ") ";
        if (type.empty() || line.type == type)
            result.push_back(line.type + " " + place + line.text);
    }
    return result;
}

Lines split_lines(const std::string &text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string journal_field(const std::string &line, const std::string &name) {
    const size_t at = line.find(" " + name + "=");
    if (at == std::string::npos)
        return "";
    const size_t begin = at + name.size() + 2;
    return line.substr(begin, line.find(' ', begin) - begin);
}

Lines TempInstance::calls(const std::string &name) const {
    Lines all;
    for (const std::string &line : journal(name)) {
        std::string call = journal_field(line, "operation") + " " + journal_field(line, "agent_id");
        if (call.starts_with("priority"))
            call += " " + journal_field(line, "priority");
        all.push_back(call);
    }
    return all;
}

Recording &Recording::line(const std::string &added) {
    text += added + "\n";
    return *this;
}

Recording &Recording::snapshot(uint32_t time) {
    return line("snapshot time=" + std::to_string(time));
}

Recording &Recording::app(const App &app) {
    const std::pair<const char *, std::string> words[] = {
        {"applname", app.applname}, {"appl_id", app.appl_id}, {"authid", app.authid}};
    const std::pair<const char *, uint32_t> figures[] = {{"agent_id", app.agent_id},
                                                         {"user_cpu_s", app.cpu},
                                                         {"user_cpu_us", app.cpu_us},
                                                         {"system_cpu_s", app.system_cpu},
                                                         {"system_cpu_us", app.system_cpu_us},
                                                         {"locks_held", app.locks},
                                                         {"rows_selected", app.rows_selected},
                                                         {"rows_read", app.rows_read},
                                                         {"idle_time", app.idle},
                                                         {"conn_time", app.conn_time},
                                                         {"uow_start", app.uow_start},
                                                         {"uow_stop", app.uow_stop},
                                                         {"ref_agent_id", app.ref},
                                                         {"aux_number", app.aux}};
    std::string result = "application";
    for (const auto &[name, value] : words)
        result += value.empty() ? "" : std::string(" ") + name + "=" + quoted(value);
    for (const auto &[name, value] : figures)
        result += value == 0 ? "" : std::string(" ") + name + "=" + std::to_string(value);
    return line(result);
}

Recording &Recording::statement(uint32_t weight, uint32_t start) {
    return line("statement sched_weight=" + std::to_string(weight) +
                " l_start_time=" + std::to_string(start));
}

TempInstance::TempInstance() {
    std::string name = std::filesystem::temp_directory_path() / "ravelo-test-XXXXXX";
    require(mkdtemp(name.data()) != nullptr, "mkdtemp");
    dir_ = name;
}

TempInstance::~TempInstance() {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
}

std::string TempInstance::read(const std::string &name) const {
    return whole_file(path(name));
}

std::string TempInstance::write(const std::string &name, const std::string &text) const {
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name);
}

Outcome TempInstance::run(const Lines &words, const Options &options) const {
    return Daemon(*this, options, words).wait_exit();
}

Daemon::Daemon(const TempInstance &instance, const Options &options)
    : Daemon(instance, options,
             {"start", options.database, options.node, instance.path("rules.cfg"),
              instance.path("log")}) {}

Daemon::Daemon(const TempInstance &instance, const Options &options, Lines words)
    : instance_(instance),
      options_(options),
      out_(memfd_create("out", MFD_CLOEXEC)),
      err_(memfd_create("err", MFD_CLOEXEC)) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
    words.insert(words.begin(), options.name);
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_ = fork();
    require(pid_ >= 0, "fork");
    if (pid_ == 0) {
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
        set_environment(instance, options);
        const int shim = open(RAVELO_FAULT_SHIM, O_RDONLY | O_CLOEXEC);
        if (shim >= 0 && dup2(shim, inherited_shim_fd) >= 0 && dup2(out_, STDOUT_FILENO) >= 0 &&
            dup2(err_, STDERR_FILENO) >= 0 && dup2(ends[1], inherited_step_fd) >= 0)
            (void)execv(RAVELOD, arguments.data());
        _exit(127);
    }
    step_fd_ = ends[0];
    (void)close(ends[1]);
}

Daemon::~Daemon() {
    if (pid_ != 0) {
        (void)kill(pid_, SIGKILL);
        (void)wait_exit();
    }
    for (const int fd : {out_, err_, step_fd_})
        (void)close(fd);
}

// What the daemon's sleep says next: 's' begun, 'i' ended by a signal, 0 that the daemon has ended.
char Daemon::event() {
    pollfd peer{step_fd_, POLLIN, 0};
    char byte = 0;
    if (poll(&peer, 1, patience_ms) != 1) {
        ADD_FAILURE() << "the daemon neither sleeps nor ends";
        (void)kill(pid_, SIGKILL);
    } else if (recv(step_fd_, &byte, 1, 0) != 1) {
        byte = 0;
    }
    asleep_ = byte == 's';
    return byte;
}

bool Daemon::passes(int count) {
    for (; count > 0; --count) {
        if (asleep_)
            (void)send(step_fd_, "g", 1, MSG_NOSIGNAL);
        char what = event();
        while (what == 'i')
            what = event();
        if (what == 0)
            return false;
    }
    return true;
}

void Daemon::signal(int number) {
    (void)kill(pid_, number);
    if (asleep_)
        (void)event();
}

const Outcome &Daemon::wait_exit() {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(patience_ms);
    while (pass()) {
        if (std::chrono::steady_clock::now() < limit)
            continue;
        ADD_FAILURE() << "the daemon goes on and on";
        (void)kill(pid_, SIGKILL);
    }
    int status = 0;
    if (pid_ == 0 || waitpid(std::exchange(pid_, 0), &status, 0) < 0)
        return outcome_;
    outcome_ = {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
                whole_file("/proc/self/fd/" + std::to_string(out_)),
                whole_file("/proc/self/fd/" + std::to_string(err_))};
    for (const char *const trouble : {"Sanitizer", "runtime error:"})
        EXPECT_EQ(outcome_.err.find(trouble), std::string::npos) << outcome_.err;
    return outcome_;
}

const Outcome &Daemon::stop() {
    const Outcome request = instance_.run({"stop", options_.database, options_.node});
    EXPECT_EQ(request.status, 0) << request.err;
    return wait_exit();
}

}  // namespace ravelo::test
