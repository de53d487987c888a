// Preloaded into the daemon by the tests: lets its calls fail, steps its sleep, shows its messages
// by number and keeps its system-log lines. Each feature is switched on by an environment variable
// (see harness.h), and only calls that the program itself makes are touched, not a library's.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <limits.h>  // NOLINT(modernize-deprecated-headers): the system's own limits
#include <map>
#include <optional>
#include <poll.h>
#include <regex>
#include <string>
#include <sys/auxv.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "govern/interface/constants.h"
#include "govern/interface/dbm.h"

namespace {

// One fault, call[:subject]@n[+]=code.
struct Rule {
    std::string call;     // "*": any call that counts, until the rule has struck
    std::string subject;  // part of the call's path
    long first;
    bool for_good;
    std::string code;  // FAIL: what suits the call
    long seen = 0;
};

std::string environment(const char *name) {
    const char *const value = getenv(name);
    return value != nullptr ? value : "";
}

std::vector<Rule> read_rules(const std::string &list) {
    const std::regex form("([^;:@]+)(?::([^;@]*))?@([0-9]+)([+]?)=([^;]*)");
    std::vector<Rule> rules;
    for (std::sregex_iterator at(list.begin(), list.end(), form), end; at != end; ++at) {
        const std::smatch &part = *at;
        rules.push_back({part[1], part[2], std::stol(part[3]), part.length(4) != 0, part[5]});
    }
    return rules;
}

// What the shim knows. Never released: the program's last calls come late.
struct State {
    std::vector<Rule> rules = read_rules(environment("RAVELO_FAULTS"));
    std::string count_file = environment("RAVELO_FAULT_COUNT");
    std::string step_fd = environment("RAVELO_STEP_FD");
    std::string system_log = environment("RAVELO_SYSLOG");
    bool plain = !environment("RAVELO_PLAIN").empty();
    long calls = 0;                  // calls that a "*" rule can let fail
    std::vector<std::string> trail;  // the latest of them, "function subject"
    std::map<const sqlca *, std::string> messages;
};

State &state() {
    static auto *const only = new State;
    return *only;
}

bool from_program(const void *caller) {
    Dl_info here{};
    Dl_info program{};
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the system gives the entry point as a number
    auto *const entry = reinterpret_cast<void *>(getauxval(AT_ENTRY));
    return dladdr(caller, &here) != 0 && dladdr(entry, &program) != 0 &&
           here.dli_fbase == program.dli_fbase;
}

// What a rule's subject is looked for in. The standard streams have none: reports must be seen.
std::string subject_of(const char *text) {
    return text;
}
std::string subject_of(int fd) {
    char path[PATH_MAX];
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    const ssize_t length = fd > 2 ? readlink(link.c_str(), path, sizeof(path)) : 0;
    return {path, static_cast<size_t>(std::max<ssize_t>(length, 0))};
}
std::string subject_of(FILE *stream) {
    return subject_of(fileno(stream));
}
std::string subject_of(const std::string &text) {
    return text;
}
// A byte of a file is told by where it stands.
std::string at_position(FILE *stream) {
    return subject_of(stream) + ":" + std::to_string(std::ftell(stream));
}

void append_line(const std::string &path, const std::string &line) {
    FILE *const file = std::fopen(path.c_str(), "ae");
    if (file == nullptr)
        return;
    (void)std::fputs((line + "\n").c_str(), file);
    (void)std::fclose(file);
}

// Keeps the latest calls; of bytes read one after the other only the last.
void note_call(const std::string &call, const std::string &subject) {
    constexpr size_t kept = 5;
    std::vector<std::string> &trail = state().trail;
    if (!trail.empty() && call == "getc" && trail.back().starts_with(call))
        trail.pop_back();
    trail.push_back(call + " " + subject.substr(subject.rfind('/') + 1));
    if (trail.size() > kept)
        trail.erase(trail.begin());
}

void note_strike(const std::string &code) {
    std::string line = "struck " + code;
    for (const std::string &call : state().trail)
        line += " > " + call;
    append_line(state().count_file, line);
}

void run_commands() {
    (void)unsetenv("LD_PRELOAD");  // the shell's calls are to succeed
    const std::string folder = "cd '" + environment("DBM_INSTANCE") + "' && ";
    // NOLINTNEXTLINE(cert-env33-c): that a shell runs them is the point
    if (std::system((folder + ". ./during").c_str()) != 0)
        std::abort();  // which the scenario sees
}

bool fits(const Rule &rule, const std::string &call, const std::string &subject, bool counts) {
    if (rule.call == "*" ? !counts : rule.call != call)
        return false;
    if (rule.subject.empty())
        return !subject.empty();
    return subject.find(rule.subject) != std::string::npos;
}

// The code of the rule that lets this call fail, if one does.
template <class Subject>
std::optional<std::string> struck(const char *symbol, const void *caller, const Subject &about) {
    if (!from_program(caller) || (state().rules.empty() && state().count_file.empty()))
        return {};
    const int saved = errno;
    static const std::regex word_size("^__|(_time)?64");
    const std::string call = std::regex_replace(symbol, word_size, "");
    const std::string subject = subject_of(about);
    const bool counts = !subject.empty() && call != "ppoll" && call != "dbm_message_text";
    state().calls += counts ? 1 : 0;
    if (counts && !state().count_file.empty())
        note_call(call, subject);
    std::optional<std::string> code;
    for (Rule &rule : state().rules) {
        if (!fits(rule, call, subject, counts))
            continue;
        ++rule.seen;
        if (rule.seen != rule.first && !(rule.for_good && rule.seen > rule.first))
            continue;
        if (rule.call == "*")
            rule.call = call;  // for good means this call from now on, not every one
        if (counts && !state().count_file.empty())
            note_strike(rule.code);
        if (rule.code == "RUN")
            run_commands();
        else
            code = rule.code;
    }
    if (code == "KILL")
        (void)raise(SIGKILL);
    errno = saved;
    return code;
}

// Sets errno for a struck call and hands its failing result through.
template <class Result>
Result fail(const std::string &code, int suitable, Result result) {
    errno = code == "FAIL" ? suitable : static_cast<int>(std::strtol(code.c_str(), nullptr, 10));
    for (int candidate = 1; candidate < 140; ++candidate) {
        const char *const name = strerrorname_np(candidate);
        if (name != nullptr && code == name)
            errno = candidate;
    }
    return result;
}

// Fails a request of the client library: code is "result" or "result/SQL code".
int fail_request(const std::string &code, sqlca *ca) {
    char *rest = nullptr;
    const long given = std::strtol(code.c_str(), &rest, 10);
    const int result = code == "FAIL" ? -1 : static_cast<int>(given);
    if (ca != nullptr)
        ca->sqlcode = *rest == '/' ? static_cast<int>(std::strtol(rest + 1, nullptr, 10)) : result;
    return result;
}

std::string plain_message(long message, int count, const message_token *first) {
    std::string text = "#";
    text += std::to_string(message);
    for (int i = 0; i < count; ++i)
        text.append("|").append((first - i)->text, (first - i)->length);
    for (int i = 0; i < (message == 1069 ? 9 : message == 1070 ? 11 : 0); ++i)
        text += "|%d";
    return message == 1031 || message == 1036 || message == 1039 ? text + "|%s" : text;
}

[[gnu::destructor]] void write_count() {
    if (!environment("RAVELO_FAULT_COUNT").empty())
        append_line(state().count_file, "calls " + std::to_string(state().calls));
}

void keep_system_log(int priority, const char *format, va_list arguments) {
    char text[4096];
    (void)std::vsnprintf(text, sizeof(text), format, arguments);
    const char *const mark = std::strcmp(format, "%s") != 0 ? "FORMAT!" : "";
    append_line(state().system_log, mark + std::to_string(priority) + "|" + text);
}

}  // namespace

// Each hook stands in for the symbol of its name, without clashing with the system's declaration;
// next is the definition that it hides. Parameters are a, b, c … in the order of the real call.
// NOLINTBEGIN(bugprone-macro-parentheses,cert-dcl50-cpp): parameter lists are no expressions
#define HOOK(symbol, Result, ...) HOOK_NAMED(symbol, Result, __VA_ARGS__)
#define HOOK_NAMED(symbol, Result, ...)                                                           \
    extern "C" [[gnu::visibility("default")]] Result hook_##symbol(__VA_ARGS__) __asm__(#symbol); \
    Result hook_##symbol(__VA_ARGS__)
#define FIND_NEXT(symbol) FIND_NAMED(symbol)
#define FIND_NAMED(symbol) \
    static const auto next = reinterpret_cast<decltype(&hook_##symbol)>(dlsym(RTLD_NEXT, #symbol))
#define STRUCK(symbol, subject) struck(#symbol, __builtin_return_address(0), subject)
#define FALLIBLE(Result, symbol, parameters, arguments, subject, suitable, result) \
    HOOK(symbol, Result, EXPAND parameters) {                                      \
        FIND_NEXT(symbol);                                                         \
        const auto code = STRUCK(symbol, subject);                                 \
        return code ? fail<Result>(*code, suitable, result) : next arguments;      \
    }
#define REQUEST(symbol, parameters, arguments, ca, ...)                                     \
    HOOK(symbol, int, EXPAND parameters) {                                                  \
        FIND_NEXT(symbol);                                                                  \
        const auto code = STRUCK(symbol, std::string("request") __VA_OPT__(+) __VA_ARGS__); \
        return code ? fail_request(*code, ca) : next arguments;                             \
    }
#define EXPAND(...) __VA_ARGS__
// A call whose 64-bit times have another name where a word has 32 bits.
#if __SIZEOF_POINTER__ == 4
#define TIMED(symbol, with_32_bits) with_32_bits
#else
#define TIMED(symbol, with_32_bits) symbol
#endif

FALLIBLE(int, open64, (const char *a, int b, mode_t c), (a, b, c), a, EIO, -1)
FALLIBLE(int, TIMED(fcntl64, __fcntl_time64), (int a, int b, void *c), (a, b, c), a, EIO, -1)
FALLIBLE(int, flock, (int a, int b), (a, b), a, EIO, -1)
FALLIBLE(off_t, lseek64, (int a, off_t b, int c), (a, b, c), a, EIO, -1)
FALLIBLE(ssize_t, read, (int a, void *b, size_t c), (a, b, c), a, EIO, -1)
FALLIBLE(int, ftruncate64, (int a, off_t b), (a, b), a, EIO, -1)
FALLIBLE(int, close, (int a), (a), a, EIO, ((void)next(a), -1))
FALLIBLE(int, unlink, (const char *a), (a), a, EIO, -1)
FALLIBLE(int, rename, (const char *a, const char *b), (a, b), a, EIO, -1)
FALLIBLE(int, access, (const char *a, int b), (a, b), a, EIO, -1)
FALLIBLE(int, TIMED(fstat64, __fstat64_time64), (int a, struct stat *b), (a, b), a, EIO, -1)
FALLIBLE(int, TIMED(stat64, __stat64_time64), (const char *a, struct stat *b), (a, b), a, EIO, -1)
FALLIBLE(FILE *, fdopen, (int a, const char *b), (a, b), a, EIO, nullptr)
FALLIBLE(int, fileno, (FILE * a), (a), next(a), EBADF, -1)
FALLIBLE(int, fclose, (FILE * a), (a), a, EIO, ((void)next(a), EOF))
FALLIBLE(int, getc, (FILE * a), (a), at_position(a), EIO, (a->_flags |= _IO_ERR_SEEN, EOF))
FALLIBLE(int, TIMED(clock_gettime, __clock_gettime64), (clockid_t a, timespec *b), (a, b),
         a == CLOCK_REALTIME ? "clock" : "", EINVAL, -1)
FALLIBLE(tm *, TIMED(localtime_r, __localtime64_r), (const time_t *a, tm *b), (a, b), "clock",
         EOVERFLOW, nullptr)
FALLIBLE(int, sigaction, (int a, const struct sigaction *b, struct sigaction *c), (a, b, c),
         "signal", EINVAL, -1)

REQUEST(dbm_init_process, (int a), (a), nullptr)
REQUEST(dbm_user_authinfo,
        (unsigned char a, unsigned char b, unsigned char c, int d, void *e, sqlca *f),
        (a, b, c, d, e, f), f)
REQUEST(dbm_instance_path, (int a, char *b), (a, b), nullptr)
REQUEST(dbm_set_client, (const client_setting *a, int b, sqlca *c), (a, b, c), c)
REQUEST(dbm_attach, (const char *a, const char *b, const char *c, sqlca *d), (a, b, c, d), d)
REQUEST(dbm_detach, (sqlca * a), (a), a)
REQUEST(dbm_monitor_switches, (int a, void *b, switch_group *c, sqlca *d), (a, b, c, d), d)
REQUEST(dbm_snapshot_size, (int a, void *b, const snapshot_request *c, uint32_t *d, sqlca *e),
        (a, b, c, d, e), e)
REQUEST(dbm_snapshot,
        (int a, void *b, const snapshot_request *c, uint32_t d, void *e, snapshot_summary *f,
         sqlca *g),
        (a, b, c, d, e, f, g), g)
REQUEST(dbm_force_application, (int a, const uint32_t *b, int c, sqlca *d), (a, b, c, d), d)
REQUEST(dbm_set_agent_priority, (uint32_t a, int b, int c, sqlca *d), (a, b, c, d), d,
        " " + std::to_string(a) + " " + std::to_string(b))

HOOK(dbm_prepare_sqlca, int, sqlca *ca, short count, long message, const message_token *first) {
    FIND_NEXT(dbm_prepare_sqlca);
    if (state().plain)
        state().messages[ca] = plain_message(message, count, first);
    return next(ca, count, message, first);
}

HOOK(dbm_message_text, int, char *text, int width, int wrap, const char *catalog, const sqlca *ca) {
    FIND_NEXT(dbm_message_text);
    if (const auto code = STRUCK(dbm_message_text, catalog))
        return fail_request(*code, nullptr);
    if (!state().plain || std::strcmp(catalog, dbm_daemon_catalog) != 0)
        return next(text, width, wrap, catalog, ca);
    const std::string &plain = state().messages[ca];
    return std::min(std::snprintf(text, static_cast<size_t>(width), "%s", plain.c_str()),
                    width - 1);
}

HOOK(write, ssize_t, int fd, const void *bytes, size_t size) {
    FIND_NEXT(write);
    const auto code = STRUCK(write, fd);
    if (!code || code == "SHORT")
        return next(fd, bytes, code ? (size + 1) / 2 : size);
    return fail<ssize_t>(*code, EIO, -1);
}

// Looking up the next calloc may ask for memory itself, and does without.
HOOK(calloc, void *, size_t count, size_t size) {
    static void *(*next)(size_t, size_t) = nullptr;
    static bool searching = false;
    if (next == nullptr) {
        if (std::exchange(searching, true))
            return nullptr;
        next = reinterpret_cast<decltype(next)>(dlsym(RTLD_NEXT, "calloc"));
        searching = false;
    }
    const auto code = STRUCK(calloc, "memory");
    return code ? fail<void *>(*code, ENOMEM, nullptr) : next(count, size);
}

// The sleep between passes: "s" tells the test that the daemon sleeps, any byte from the test ends
// the sleep, "i" tells it that a signal did.
HOOK(TIMED(ppoll, __ppoll64), int, pollfd *files, nfds_t count, const timespec *timeout,
     const sigset_t *mask) {
    FIND_NEXT(TIMED(ppoll, __ppoll64));
    if (const auto code = STRUCK(ppoll, "sleep"))
        return fail(*code, EINTR, -1);
    if (count != 0 || state().step_fd.empty())
        return next(files, count, timeout, mask);
    sigset_t all;
    sigset_t before;
    (void)sigfillset(&all);
    (void)sigprocmask(SIG_BLOCK, &all, &before);  // none may slip in between the "s" and the sleep
    pollfd peer{std::stoi(state().step_fd), POLLIN, 0};
    const bool alone = send(peer.fd, "s", 1, MSG_NOSIGNAL) != 1;
    const timespec moment{0, 5000000};
    const int woken = next(&peer, alone ? 0 : 1, alone ? &moment : nullptr, mask ? mask : &before);
    char byte = 0;
    (void)(woken < 0 ? send(peer.fd, "i", 1, MSG_NOSIGNAL) : recv(peer.fd, &byte, 1, MSG_DONTWAIT));
    (void)sigprocmask(SIG_SETMASK, &before, nullptr);
    return woken < 0 ? fail("EINTR", EINTR, -1) : 0;
}

HOOK(syslog, void, int priority, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    keep_system_log(priority, format, arguments);
    va_end(arguments);
}

// What fortified code calls instead; the latter is clang's way.
HOOK(__syslog_chk, void, int priority, int, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    keep_system_log(priority, format, arguments);
    va_end(arguments);
}

HOOK(__vsyslog_chk, void, int priority, int, const char *format, va_list arguments) {
    keep_system_log(priority, format, arguments);
}
// NOLINTEND(bugprone-macro-parentheses,cert-dcl50-cpp)
