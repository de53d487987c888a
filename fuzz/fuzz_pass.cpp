// Governing passes over snapshots from outside: the walk, the rules, the actions and the tables
// that remember them.
//
// Whatever a pass has changed is remembered until the clean-up gives it back.
//
// Input: a byte that chooses the rules, then passes. A pass is 5 bytes (what kind, how many
// applications, seconds since the last, which answers the library gives, which call fails) and
// either its applications in 16 bytes each, or, for the raw kind, as many bytes of snapshot buffer
// as the next two say.
#include <algorithm>
#include <array>
#include <cstring>
#include <set>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "config/read_config.h"
#include "daemon/base/memory.h"
#include "daemon/base/text.h"
#include "daemon/clean_up.h"
#include "enforce/nice_appl.h"
#include "enforce/schedule_groups.h"
#include "fuzz/input_file.h"
#include "govern/govern.h"
#include "govern/interface/constants.h"
#include "govern/interface/sql_codes.h"

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
    unsigned failing = 0;  // the call that fails, in 5 bits, 0 none, and what it answers, in 3
    unsigned calls = 0;
    bool read_again = false;  // the rules change before the pass
    bool asked_again = false;
    std::set<uint32_t> changed;     // agents whose priority this pass has set
    std::set<uint32_t> given_back;  // agents that got the normal priority
} fake;

template <size_t Count>
int choose(const std::array<int, Count> &codes, unsigned shift) {
    return codes[(fake.answers >> shift) % Count];
}

// The end of every operation: its SQL code, unless the input has the call fail.
int answer(int32_t sqlcode, sqlca *ca) {
    constexpr int failed = -9;
    constexpr std::array<std::pair<int, int32_t>, 8> failures = {{{failed, 0},
                                                                  {failed, dbm_sql_gone},
                                                                  {0, -9},
                                                                  {0, 5},
                                                                  {0, dbm_sql_gone},
                                                                  {0, dbm_sql_unreachable},
                                                                  {0, dbm_sql_no_data},
                                                                  {0, dbm_sql_buffer_too_small}}};
    const bool fails = ++fake.calls == fake.failing % 32;
    const auto [rc, code] = fails ? failures[fake.failing / 32] : std::pair(0, sqlcode);
    ca->sqlcode = code;
    return rc;
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
    if (data.size() < 5)
        return false;
    const bool raw = data[0] % 4 == 0;
    fake.read_again = (data[0] & 0x80U) != 0;
    fake.buffer.clear();
    fake.records = raw ? wide(data[1]) : data[1] % 32;
    fake.time += wide(data[2]);
    fake.answers = data[3];
    fake.failing = data[4];
    fake.calls = 0;
    fake.asked_again = false;
    data = data.subspan(5);
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

// The agents whose priority the clean-up has to give back.
std::set<uint32_t> remembered(const glob_struct &glob) {
    std::set<uint32_t> agents;
    for (const auto *entry = glob.nice_list; entry != nullptr; entry = entry->next)
        agents.insert(entry->agent_id);
    for (const schedapp_struct *entry : glob.sched_table)
        for (; entry != nullptr; entry = entry->hash_next)
            agents.insert(entry->agent_id);
    return agents;
}

void require_all(const std::set<uint32_t> &expected, const std::set<uint32_t> &found) {
    fuzz::require(std::includes(found.begin(), found.end(), expected.begin(), expected.end()));
}

// Runs a clean-up, which has to give every priority back.
template <class CleanUp>
int32_t give_back(const glob_struct &glob, const CleanUp &clean) {
    const std::set<uint32_t> expected = remembered(glob);
    fake.given_back.clear();
    const int32_t outcome = clean();
    require_all(expected, fake.given_back);
    fuzz::require(remembered(glob).empty() && glob.schedgrp_list == nullptr);
    return outcome;
}

int32_t run_pass(glob_struct *glob) {
    fake.changed.clear();
    int32_t outcome = 0;
    if (fake.read_again)
        outcome = give_back(*glob, [&] { return clean_up(glob, clean_up_mode::at_reread); });
    if (fake.read_again && outcome == 0)
        outcome = read_config(glob);
    if (outcome == 0)
        outcome = govern(glob);
    require_all(fake.changed, remembered(*glob));
    return outcome;
}

bool is_result(int32_t code) {
    return code == 0 || code == -2 || code == -3 || code == -4 || code == -6 || code == -8 ||
           code == -9;
}

}  // namespace

extern "C" {

int dbm_monitor_switches(int, void *, switch_group *groups, sqlca *ca) {
    for (int i = 0; i < dbm_switch_groups; ++i)
        groups[i].output_state = dbm_switch_on;
    return answer(0, ca);
}
int dbm_snapshot_size(int, void *, const snapshot_request *, uint32_t *size, sqlca *ca) {
    *size = static_cast<uint32_t>(fake.buffer.size());
    return answer(0, ca);
}
int dbm_snapshot(int, void *, const snapshot_request *, uint32_t size, void *out,
                 snapshot_summary *summary, sqlca *ca) {
    *summary = snapshot_summary{};
    summary->snap_time = fake.time;
    summary->num_records = fake.records;
    if (size < fake.buffer.size())
        return answer(std::exchange(fake.asked_again, true) ? 5 : dbm_sql_buffer_too_small, ca);
    std::copy(fake.buffer.begin(), fake.buffer.end(), static_cast<unsigned char *>(out));
    constexpr std::array<int, 8> codes = {0, 0, 0, 0, 0, dbm_sql_no_data, dbm_sql_unreachable, 5};
    return answer(choose(codes, 5), ca);
}
int dbm_force_application(int, const uint32_t *, int, sqlca *ca) {
    constexpr std::array<int, 8> codes = {0, dbm_sql_already_forced, 5, dbm_sql_gone, 0, 0, 0, -1};
    return answer(choose(codes, 2), ca);
}
int dbm_set_agent_priority(uint32_t agent_id, int priority, int, sqlca *ca) {
    fuzz::require(priority >= dbm_best_priority && priority <= dbm_worst_priority);
    constexpr std::array<int, 4> codes = {0, dbm_sql_gone, dbm_sql_unreachable, 0};
    const int result = answer(choose(codes, 0), ca);
    if (priority == dbm_normal_priority) {
        fake.given_back.insert(agent_id);
        fake.changed.erase(agent_id);
    } else if (ca->sqlcode == 0) {
        fake.changed.insert(agent_id);
    }
    return result;
}
int dbm_detach(sqlca *ca) {
    return answer(0, ca);
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
    init_glob(&glob);
    cut_text(glob.db_name, "SAMPLE");
    cut_text(glob.cfg_file_name, rules.path());
    cut_text(glob.log_file_name, log.path());
    fuzz::require(allocate_record(&glob.snap_req) == 0 && read_config(&glob) == 0);
    glob.snap_req_size = sizeof(snapshot_request);
    int32_t outcome = 0;
    while (outcome == 0 && next_pass(data))
        outcome = run_pass(&glob);
    fuzz::require(is_result(outcome));
    const int32_t ended = give_back(glob, [&] { return shut_down(&glob, outcome, true); });
    fuzz::require(outcome == 0 ? is_result(ended) : ended == outcome);
    fuzz::check_log(log.content());
    fake = {};
    return 0;
}
