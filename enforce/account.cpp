#include "enforce/account.h"

#include <cstdio>
#include <cstring>
#include <iterator>

#include "daemon/base/clock.h"
#include "daemon/base/result.h"
#include "enforce/table_records.h"
#include "log/columns.h"

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
    acctapp_struct *const entry = create_record(glob, glob->acct_index, location::acctapp_allocate);
    if (entry == nullptr)
        return nullptr;
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

void close_accounts(glob_struct *glob) {
    for (acctapp_struct *&chain : glob->acct_table)
        drop_unseen(&chain, &acctapp_struct::next, [glob](const acctapp_struct *entry) {
            // The entry goes whether or not its last record could be written.
            (void)write_account_record(glob, entry);
            remove_from_index(glob->acct_index, hash_of(entry->appl_id, entry->conn_time), entry);
        });
}

void release_accounts(glob_struct *glob) {
    release_index(glob->acct_index);
    for (acctapp_struct *&chain : glob->acct_table)
        release_list(&chain, &acctapp_struct::next);
}

int32_t write_account_record(glob_struct *glob, const acctapp_struct *entry) {
    char connected[timestamp_size];
    (void)show_local_time(connected, entry->conn_time);  // the placeholder keeps the columns
    const auto user = static_cast<int32_t>(entry->user_cpu - entry->user_cpu_logged);
    const auto system = static_cast<int32_t>(entry->system_cpu - entry->system_cpu_logged);
    namespace column = account_columns;
    static_assert(column::authid.width + 1 == sizeof(entry->authid) &&
                  column::appl_id.width + 1 == sizeof(entry->appl_id) &&
                  column::applname.width + 1 == sizeof(entry->applname) &&
                  column::end < message_size);
    (void)std::snprintf(glob->msg_text, message_size, "%-*s %-*s %-*s %s %*d %*d",
                        print_width(column::authid), entry->authid, print_width(column::appl_id),
                        entry->appl_id, print_width(column::applname), entry->applname, connected,
                        print_width(column::user_cpu), user, print_width(column::system_cpu),
                        system);
    return write_log(glob, record_type::account, location::none);
}

}  // namespace ravelo
