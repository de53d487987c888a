#include "tools/record/snapshot_text.h"

#include <cstdint>
#include <cstring>
#include <string_view>

#include "dbm/common/fields.h"
#include "dbm/common/text.h"

namespace ravelo::record {
namespace {

// Holds a copy: the records' fields need not be aligned.
struct figure {
    std::string_view name;
    uint32_t value;
};

void append_figure(std::string &text, std::string_view name, uint32_t value) {
    if (value != 0)
        dbm::append_field(text, name, std::to_string(value));
}

// A blank-padded field without its padding.
void append_text(std::string &text, std::string_view name, std::string_view padded) {
    const std::string_view value = dbm::padded_text(padded);
    if (!value.empty())
        dbm::append_field(text, name, value);
}

void append_application(std::string &text, const appl_snapshot &record) {
    text += "application";
    append_figure(text, "agent_id", record.agent_id);
    append_text(text, "applname", {record.applname, sizeof(record.applname)});
    append_text(text, "appl_id", {record.appl_id, sizeof(record.appl_id)});
    append_text(text, "authid", {record.authid, sizeof(record.authid)});
    const figure figures[] = {
        {"conn_time", record.conn_time},         {"idle_time", record.idle_time},
        {"locks_held", record.locks_held},       {"ref_agent_id", record.ref_agent_id},
        {"rows_selected", record.rows_selected}, {"rows_read", record.rows_read},
        {"uow_start", record.uow_start},         {"uow_stop", record.uow_stop},
        {"user_cpu_s", record.user_cpu_s},       {"user_cpu_us", record.user_cpu_us},
        {"system_cpu_s", record.system_cpu_s},   {"system_cpu_us", record.system_cpu_us},
        {"aux_number", record.aux_number}};
    for (const auto &[name, value] : figures)
        append_figure(text, name, value);
    text += '\n';
}

void append_statement(std::string &text, const l_snapshot &statement) {
    text += "statement";
    append_figure(text, "sched_weight", statement.sched_weight);
    append_figure(text, "l_start_time", statement.l_start_time);
    text += '\n';
}

// A sub-record of another kind, of which only its kind is kept.
void append_other(std::string &text, snapshot_bytes record) {
    snapshot_header header{};
    std::memcpy(&header, record.data(), sizeof(header));
    text += "other";
    dbm::append_field(text, "type", {&header.rec_type, 1});
    text += '\n';
}

bool append_records(std::string &text, uint32_t records, snapshot_bytes bytes) {
    for (uint32_t i = 0; i < records; ++i) {
        const appl_snapshot *record = nullptr;
        if (!next_application(bytes, &record))
            return false;
        append_application(text, *record);
        const uint32_t sub_records = record->subrec_count;
        for (uint32_t k = 0; k < sub_records; ++k) {
            const snapshot_bytes before = bytes;
            const l_snapshot *statement = nullptr;
            if (!next_sub_record(bytes, &statement))
                return false;
            if (statement != nullptr)
                append_statement(text, *statement);
            else
                append_other(text, before);
        }
    }
    return true;
}

}  // namespace

bool append_snapshot(std::string &text, const snapshot_summary &summary, snapshot_bytes bytes) {
    const size_t before = text.size();
    text += "snapshot time=" + std::to_string(summary.snap_time) + "\n";
    const bool whole = append_records(text, summary.num_records, bytes);
    if (!whole)
        text.resize(before);
    return whole;
}

}  // namespace ravelo::record
