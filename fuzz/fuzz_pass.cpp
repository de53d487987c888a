// Governing passes over snapshots from outside: the walk, the rules, the actions and the tables
// that remember them.
//
// Input: a byte that chooses the rules, then passes. A pass is 4 bytes (what kind, how many
// applications, seconds since the last, which answers the library gives) and either its
// applications in 16 bytes each, or, for the raw kind, as many bytes of snapshot buffer as the next
// two say.
#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "config/read_config.h"
#include "daemon/clean_up.h"
#include "daemon/memory.h"
#include "fuzz/input_file.h"
#include "govern/govern.h"
#include "log/text.h"

using namespace ravelo;

namespace {

constexpr std::array<std::string_view, 4> rule_files = {
    "dbname sample; interval 5; account 1; setlimit cpu 5 locks 10 rowssel 20 rowsread 30 idle 40 "
    "uowtime 50 action force; desc 'x' authid USER1 applname app1, app2 setlimit cpu -1;",
    "dbname sample; interval 7; account 1; setlimit cpu 3 action priority 5; authid USER1 setlimit "
    "cpu 5 "
    "action priority -3; time 00:30 00:10 applname app1 setlimit locks 200 action force;",
    "dbname sample; authid USER1, USER2 setlimit cpu 1 action schedule class; applname app1, app2 "
    "setlimit cpu 2 idle 9 action schedule; setlimit rowsread 100 action priority 7;",
    "dbname sample; interval 1; debug 4; account 1; setlimit cpu 1 action schedule class; setlimit "
    "idle 100 "
    "action force; setlimit rowssel 5 action priority 20; applname app2 setlimit uowtime 1 action "
    "schedule;"};

// What the library answers in the current pass.
struct library {
    std::vector<unsigned char> buffer;
    uint32_t records = 0;
    uint32_t time = 1000000;
    unsigned answers = 0;
    bool asked_again = false;
} fake;

template <size_t Count>
int choose(const std::array<int, Count> &codes, unsigned shift) {
    return codes[(fake.answers >> shift) % Count];
}

// A byte as a figure: small, or near the end of the range.
uint32_t wide(uint8_t byte) {
    return byte < 0xF0 ? byte : UINT32_MAX - (0xFFU - byte);
}

template <class Record>
void append(const Record &record) {
    const auto *const bytes = reinterpret_cast<const unsigned char *>(&record);
    fake.buffer.insert(fake.buffer.end(), bytes, bytes + sizeof(record));
}

template <size_t Size>
void pad(char (&field)[Size], std::string_view text) {
    std::memset(field, ' ', Size);
    text.copy(field, Size);
}

using description = std::span<const uint8_t, 16>;

void append_application(description from) {
    constexpr std::array<std::string_view, 8> names = {
        "app1", "app2", "app3", "USER1", "USER2", "", "%s%n%d", "\n\x80\xFF\"'|with 20 bytes"};
    appl_snapshot record{};
    record.size = (from[14] & 0x80U) != 0 ? wide(from[14]) : sizeof(record);
    record.rec_type = appl_record_type;
    record.agent_id = from[0];
    pad(record.applname, names[from[1] % 8]);
    pad(record.authid, names[from[1] / 8 % 8]);
    pad(record.appl_id, std::string_view("abcdefgh").substr(from[2] % 8));
    record.conn_time = wide(from[3]);
    record.locks_held = wide(from[4]);
    record.rows_selected = wide(from[5]);
    record.rows_read = wide(from[6]);
    record.idle_time = wide(from[7]);
    record.uow_start = from[8] == 0 ? 0 : fake.time - wide(from[8]);
    record.uow_stop = wide(from[9]);
    record.user_cpu_s = wide(from[10]);
    record.system_cpu_s = wide(from[11]);
    record.user_cpu_us = wide(from[12]) * 65536;
    record.ref_agent_id = from[13];
    const unsigned statements = from[14] % 4;
    record.subrec_count = (from[14] & 0x40U) != 0 ? wide(from[15]) : statements;
    append(record);
    for (unsigned i = 0; i < statements; ++i) {
        l_snapshot statement{};
        statement.size = sizeof(statement);
        statement.rec_type = l_record_type;
        statement.sched_weight = wide(static_cast<uint8_t>(from[15] + i));
        statement.l_start_time = fake.time - wide(from[15]);
        append(statement);
    }
}

// Takes the next pass off the input; false at its end.
bool next_pass(std::span<const uint8_t> &data) {
    if (data.size() < 4)
        return false;
    const bool raw = data[0] % 4 == 0;
    fake.buffer.clear();
    fake.records = raw ? wide(data[1]) : data[1] % 32;
    fake.time += wide(data[2]);
    fake.answers = data[3];
    fake.asked_again = false;
    data = data.subspan(4);
    if (raw) {
        const size_t length =
            data.size() < 2 ? 0 : std::min<size_t>(data[0] * 256U + data[1], data.size() - 2);
        data = data.subspan(std::min<size_t>(2, data.size()));
        fake.buffer.assign(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(length));
        data = data.subspan(length);
        return true;
    }
    for (uint32_t i = 0; i < fake.records && data.size() >= 16; ++i, data = data.subspan(16))
        append_application(data.first<16>());
    return true;
}

// Every record is one line that begins with its time, without control characters.
void check_log(std::string_view text) {
    fuzz::require(text.empty() || text.back() == '\n');
    char before = '\n';
    for (const char c : text) {
        fuzz::require(before != '\n' || (c >= '0' && c <= '9'));
        fuzz::require(c == '\n' || (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F));
        before = c;
    }
}

bool is_result(int32_t code) {
    return code == 0 || code == -2 || code == -3 || code == -4 || code == -6 || code == -8 ||
           code == -9;
}

}  // namespace

extern "C" {

int dbm_monitor_switches(int, void *, switch_group *groups, sqlca *ca) {
    for (int i = 0; i < 7; ++i)
        groups[i].output_state = 1;
    return ca->sqlcode = 0;
}
int dbm_snapshot_size(int, void *, const snapshot_request *, uint32_t *size, sqlca *ca) {
    *size = static_cast<uint32_t>(fake.buffer.size());
    return ca->sqlcode = 0;
}
int dbm_snapshot(int, void *, const snapshot_request *, uint32_t size, void *out,
                 snapshot_summary *summary, sqlca *ca) {
    *summary = snapshot_summary{};
    summary->snap_time = fake.time;
    summary->num_records = fake.records;
    ca->sqlcode = choose(std::array{0, 0, 0, 0, 0, 1611, -1032, 5}, 5);
    if (size < fake.buffer.size())
        ca->sqlcode = std::exchange(fake.asked_again, true) ? 5 : 1606;
    else
        std::copy(fake.buffer.begin(), fake.buffer.end(), static_cast<unsigned char *>(out));
    return 0;
}
int dbm_force_application(int, const uint32_t *, int, sqlca *ca) {
    ca->sqlcode = choose(std::array{0, 1230, 5, -1224, 0, 0, 0, -1}, 2);
    return 0;
}
int dbm_set_agent_priority(uint32_t, int priority, int, sqlca *ca) {
    fuzz::require(priority >= -20 && priority <= 20);
    ca->sqlcode = choose(std::array{0, -1224, -1032, 0}, 0);
    return 0;
}
int dbm_detach(sqlca *ca) {
    return ca->sqlcode = 0;
}

}  // extern "C"

int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    static const fuzz::memory_file rules;
    static const fuzz::memory_file log;
    static glob_struct glob;
    std::span<const uint8_t> data(bytes, size);
    if (data.empty())
        return 0;
    const std::string_view chosen = rule_files[data[0] % rule_files.size()];
    data = data.subspan(1);
    rules.fill(chosen.data(), chosen.size());
    log.fill("", 0);
    fake = {};
    init_glob(&glob);
    cut_text(glob.db_name, "SAMPLE");
    cut_text(glob.cfg_file_name, rules.path());
    cut_text(glob.log_file_name, log.path());
    fuzz::require(allocate_record(&glob.snap_req) == 0 && read_config(&glob) == 0);
    glob.snap_req_size = sizeof(snapshot_request);
    int32_t outcome = 0;
    while (outcome == 0 && next_pass(data))
        outcome = govern(&glob);
    fuzz::require(is_result(outcome));
    const int32_t ended = shut_down(&glob, outcome, true);
    fuzz::require(outcome == 0 ? is_result(ended) : ended == outcome);
    fuzz::require(glob.nice_list == nullptr && glob.schedgrp_list == nullptr);
    check_log(log.content());
    return 0;
}
