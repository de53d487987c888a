#include "enforce/account.h"

#include <cstdio>
#include <cstring>
#include <iterator>

#include "daemon/clock.h"
#include "daemon/memory.h"
#include "daemon/result.h"
#include "log/report.h"
#include "log/text.h"

namespace ravelo {
namespace {

// A record's key: its application id, filled up with zeros, and the chain of its connect time.
using acct_key = uint64_t[sizeof(appl_texts::appl_text) / sizeof(uint64_t) + 1];

template <size_t Size>
uint32_t hash_of(const char (&appl_id)[Size], uint32_t conn_time) {
    acct_key key{};
    std::memcpy(key, appl_id, Size);
    key[std::size(key) - 1] = hash_bucket(conn_time);
    return hash_words(key);
}

acctapp_struct *find_acctapp(const glob_struct *glob, const appl_texts &texts, uint32_t conn_time) {
    const auto has_key = [&texts, conn_time](const acctapp_struct *entry) {
        return std::memcmp(entry->appl_id, texts.appl_text, sizeof(entry->appl_id)) == 0 &&
               hash_bucket(entry->conn_time) == hash_bucket(conn_time);
    };
    return find_in_index(glob->acct_index, hash_of(texts.appl_text, conn_time), has_key);
}

}  // namespace

int32_t account_appl(glob_struct *glob, const appl_texts &texts, const appl_snapshot *record,
                     int32_t account_due) {
    acctapp_struct *entry = find_acctapp(glob, texts, record->conn_time);
    if (entry == nullptr)
        entry = create_acctapp(glob, texts, record->conn_time);
    if (entry == nullptr)
        return result::memory;
    entry->seen = 1;
    entry->user_cpu = record->user_cpu_s;
    entry->system_cpu = record->system_cpu_s;
    const bool used =
        entry->user_cpu > entry->user_cpu_logged || entry->system_cpu > entry->system_cpu_logged;
    if (account_due != 1 || !used)
        return result::ok;
    const int32_t logged = write_account_record(glob, entry);
    if (logged != result::ok)
        return logged;
    entry->user_cpu_logged = entry->user_cpu;
    entry->system_cpu_logged = entry->system_cpu;
    return result::ok;
}

acctapp_struct *create_acctapp(glob_struct *glob, const appl_texts &texts, uint32_t conn_time) {
    acctapp_struct *entry = nullptr;
    int code = allocate_record(&entry);
    if (code == 0)
        code = reserve_index(glob->acct_index);
    if (code != 0) {
        release_memory(entry);
        report_error(glob, location::acctapp_allocate, message::out_of_memory,
                     {decimal(glob->msg_token, code)});
        return nullptr;
    }
    cut_text(entry->appl_id, text_of(texts.appl_text));
    cut_text(entry->authid, text_of(texts.auth_id));
    cut_text(entry->applname, text_of(texts.appl_name));
    entry->conn_time = conn_time;
    acctapp_struct *&chain = glob->acct_table[hash_bucket(conn_time)];
    entry->next = chain;
    chain = entry;
    add_to_index(glob->acct_index, hash_of(texts.appl_text, conn_time), entry);
    return entry;
}

void forget_acctapp(glob_struct *glob, const acctapp_struct *entry) {
    remove_from_index(glob->acct_index, hash_of(entry->appl_id, entry->conn_time), entry);
}

int32_t write_account_record(glob_struct *glob, const acctapp_struct *entry) {
    char connected[timestamp_size];
    (void)show_local_time(connected, entry->conn_time);  // the placeholder keeps the columns
    const auto user = static_cast<int32_t>(entry->user_cpu - entry->user_cpu_logged);
    const auto system = static_cast<int32_t>(entry->system_cpu - entry->system_cpu_logged);
    (void)std::snprintf(glob->msg_text, message_size, "%-20s %-32s %-20s %s %10d %10d",
                        entry->authid, entry->appl_id, entry->applname, connected, user,
                        system);  // 116 characters
    return write_log(glob, record_type::account, location::none);
}

}  // namespace ravelo
