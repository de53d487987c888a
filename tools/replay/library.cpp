#include "tools/replay/library.h"

#include <ctime>
#include <dlfcn.h>
#include <string_view>
#include <utility>

#include "daemon/clock.h"
#include "govern/dbm.h"
#include "govern/snapshot_records.h"

namespace ravelo::replay {
namespace {

// There is one replay at a time: the library's operations have no argument that tells it.
struct {
    uint32_t interval = 0;
    uint32_t time = 0;     // of the snapshot last used
    bool started = false;  // one was used
    bool ended = false;
    packed_message listener;
} state;

// The operation of the client library itself.
template <class Operation>
Operation *next_of(Operation * /*ours*/, const char *name) {
    return reinterpret_cast<Operation *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void begin(uint32_t start, uint32_t interval, packed_message listener) {
    state = {interval, start, false, false, std::move(listener)};
}

bool at_end() {
    return state.ended;
}

}  // namespace ravelo::replay

namespace ravelo {

int current_time(time_t *seconds) {
    *seconds = static_cast<time_t>(replay::state.time);
    return 0;
}

}  // namespace ravelo

using ravelo::replay::next_of;
using ravelo::replay::state;

extern "C" {

int dbm_snapshot(int version, void *unused, const snapshot_request *request, uint32_t size,
                 void *buffer, snapshot_summary *summary, sqlca *ca) {
    static auto *const next = next_of(&dbm_snapshot, "dbm_snapshot");
    constexpr int too_small = 1606;
    for (;;) {
        const int code = next(version, unused, request, size, buffer, summary, ca);
        if (code != 0 || ca->sqlcode != 0) {
            state.ended = code != 0 || ca->sqlcode != too_small;
            return code;
        }
        const uint32_t time = summary->snap_time;
        if (state.started && time < state.time) {
            state.ended = true;  // it begins anew, or the clock was set back: nothing to go by
            ca->sqlcode = 1611;
            return 0;
        }
        if (state.started && time - state.time < state.interval)
            continue;
        state.started = true;
        state.time = time;
        return 0;
    }
}

// Answers in place of a snapshot as long as there is nothing to report.
int dbm_snapshot_size(int version, void *unused, const snapshot_request *request, uint32_t *size,
                      sqlca *ca) {
    static auto *const next = next_of(&dbm_snapshot_size, "dbm_snapshot_size");
    const int code = next(version, unused, request, size, ca);
    state.ended = code != 0 || ca->sqlcode != 0;
    return code;
}

int dbm_prepare_sqlca(sqlca *ca, short count, long number, const message_token *first) {
    static auto *const next = next_of(&dbm_prepare_sqlca, "dbm_prepare_sqlca");
    std::vector<std::string> tokens;
    for (int i = 0; i < count; ++i)
        tokens.emplace_back((first - i)->text, (first - i)->length);
    if (state.listener)
        state.listener(number, tokens);
    return next(ca, count, number, first);
}

// A replay is nothing that the machine's own log should tell of.
void syslog(int /*priority*/, const char * /*format*/, ...) {}

}  // extern "C"
