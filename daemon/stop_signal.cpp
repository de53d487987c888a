#include "daemon/stop_signal.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <poll.h>

#include "daemon/base/files.h"
#include "daemon/status_file.h"
#include "govern/interface/constants.h"

namespace ravelo {
namespace {

// A signal handler has no argument of its own.
volatile std::sig_atomic_t stop_signalled = 0;

extern "C" void note_stop_signal(int /*signal*/) {
    stop_signalled = 1;
}

// Makes the stop request that a signal has asked for.
void request_signalled_stop(const glob_struct *glob) {
    if (stop_signalled == 0)
        return;
    stop_signalled = 0;
    request_own_stop(glob);
}

int install(int signal, void (*handler)(int), int flags) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    if (sigemptyset(&action.sa_mask) != 0 || sigaction(signal, &action, nullptr) != 0)
        return errno;
    return 0;
}

timespec monotonic_now() {
    timespec now{};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);  // can't fail with a valid clock
    return now;
}

int64_t milliseconds_between(const timespec &from, const timespec &to) {
    return (to.tv_sec - from.tv_sec) * INT64_C(1000) + (to.tv_nsec - from.tv_nsec) / 1000000;
}

}  // namespace

void prepare_stop_signals() {
    sigset_t held;
    (void)sigemptyset(&held);
    for (const int signal : {SIGTERM, SIGINT, SIGPIPE, SIGXFSZ})
        (void)sigaddset(&held, signal);
    (void)sigprocmask(SIG_BLOCK, &held, nullptr);
    (void)install(SIGTERM, note_stop_signal, 0);
    (void)install(SIGINT, note_stop_signal, 0);
}

void deliver_held_signals(const glob_struct *glob) {
    sigset_t stops;
    (void)sigemptyset(&stops);
    (void)sigaddset(&stops, SIGTERM);
    (void)sigaddset(&stops, SIGINT);
    (void)sigprocmask(SIG_UNBLOCK, &stops, nullptr);  // those that wait are delivered here
    (void)sigprocmask(SIG_BLOCK, &stops, nullptr);
    request_signalled_stop(glob);
}

int install_trace_handler() {
    return install(dbm_trace_signal, dbm_trace_handler, SA_RESTART);
}

void sleep_milliseconds(const glob_struct *glob, uint64_t milliseconds) {
    sigset_t asleep;
    if (sigprocmask(SIG_SETMASK, nullptr, &asleep) != 0)
        return;
    (void)sigdelset(&asleep, SIGTERM);  // valid signals of a valid set
    (void)sigdelset(&asleep, SIGINT);
    const timespec begun = monotonic_now();
    for (;;) {
        const int64_t left =
            static_cast<int64_t>(milliseconds) - milliseconds_between(begun, monotonic_now());
        if (left <= 0)
            return;
        const timespec timeout{static_cast<time_t>(left / 1000),
                               static_cast<long>(left % 1000) * 1000000};
        // Signals get through only in this call, so none can slip in before it.
        if (ppoll(nullptr, 0, &timeout, &asleep) == 0)
            return;
        if (errno != EINTR)
            (void)nanosleep(&timeout, nullptr);  // passes must not follow each other without pause
        request_signalled_stop(glob);
        if (file_exists(glob->stop_file_name))
            return;
    }
}

}  // namespace ravelo
