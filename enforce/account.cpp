#include "enforce/account.h"

#include <cstdio>

#include "daemon/clock.h"
#include "daemon/memory.h"
#include "daemon/result.h"
#include "log/report.h"
#include "log/text.h"

namespace ravelo {
namespace {

acctapp_struct *find_acctapp(const glob_struct *glob, const appl_texts &texts, uint32_t conn_time) {
    acctapp_struct *entry = glob->acct_table[hash_bucket(conn_time)];
    while (entry != nullptr && text_of(entry->appl_id) != text_of(texts.appl_text))
        entry = entry->next;
    return entry;
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
    const int code = allocate_record(&entry);
    if (code != 0) {
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
    return entry;
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
