#include "tools/replay/library.h"

#include <algorithm>
#include <ctime>
#include <dlfcn.h>
#include <new>
#include <utility>

#include "daemon/base/clock.h"
#include "govern/interface/dbm.h"
#include "govern/interface/snapshot_records.h"
#include "govern/interface/sql_codes.h"
#include "log/system_log.h"

namespace ravelo {
namespace replay {
namespace {

// There is one replay at a time: the library's operations have no argument that tells it.
struct {
    uint32_t interval = 0;
    uint32_t time = 0;     // of the snapshot last used
    uint32_t left = 0;     // snapshots before the recording's end
    bool started = false;  // one was used
    bool ended = false;
    packed_message listener;
} state;

// The operation of the client library itself.
template <class Operation>
Operation *next_of(Operation * /*ours*/, const char *name) {
    return reinterpret_cast<Operation *>(dlsym(RTLD_NEXT, name));
}

enum class use : uint8_t { yes, no, end };

// What is to be done with a snapshot of that time.
use use_of(uint32_t time) {
    if (state.left == 0)
        return use::end;  // it begins anew
    --state.left;
    if (!state.started)
        return use::yes;
    if (time < state.time)
        return use::end;  // the clock was set back: nothing to go by
    return time - state.time < state.interval ? use::no : use::yes;
}

// Lets the listener know of a message. Without memory it goes uncounted.
void note(short count, long number, const message_token *first) noexcept {
    try {
        std::vector<std::string> tokens;
        tokens.reserve(static_cast<size_t>(std::max<short>(count, 0)));
        for (int i = 0; i < count; ++i)  // each lies below the one before it
            tokens.emplace_back((first - i)->text, (first - i)->length);
        if (state.listener)
            state.listener(number, tokens);
    } catch (const std::bad_alloc &) {
        return;
    }
}

}  // namespace

void begin(const recording_extent &extent, uint32_t interval, packed_message listener) {
    state = {interval, extent.start, extent.snapshots, false, false, std::move(listener)};
}

bool at_end() {
    return state.ended;
}

}  // namespace replay

int current_time(time_t *seconds) {
    *seconds = static_cast<time_t>(replay::state.time);
    return 0;
}

// A replay is nothing that the machine's own log should tell of.
void write_system_log(const char * /*text*/) {}

}  // namespace ravelo

extern "C" {

int dbm_snapshot(int version, void *unused, const snapshot_request *request, uint32_t size,
                 void *buffer, snapshot_summary *summary, sqlca *ca) {
    using namespace ravelo;
    using replay::state;
    static auto *const next = replay::next_of(&dbm_snapshot, "dbm_snapshot");
    for (;;) {
        const int code = next(version, unused, request, size, buffer, summary, ca);
        if (code != 0 || ca->sqlcode != dbm_sql_ok) {
            state.ended = code != 0 || ca->sqlcode != dbm_sql_buffer_too_small;
            return code;
        }
        switch (replay::use_of(summary->snap_time)) {
            case replay::use::no:
                continue;
            case replay::use::end:
                state.ended = true;
                ca->sqlcode = dbm_sql_no_data;
                return 0;
            case replay::use::yes:
                state.started = true;
                state.time = summary->snap_time;
                return 0;
        }
    }
}

int dbm_prepare_sqlca(sqlca *ca, short count, long number, const message_token *first) {
    static auto *const next = ravelo::replay::next_of(&dbm_prepare_sqlca, "dbm_prepare_sqlca");
    ravelo::replay::note(count, number, first);
    return next(ca, count, number, first);
}

}  // extern "C"
