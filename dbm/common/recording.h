// A recorded workload: a text file, one line each, played snapshot by snapshot.
//
//   recording 1
//   result operation=… …                        scripted outcomes, see script.h
//   snapshot time=… [num_records=…] [switches=…]
//   application agent_id=… applname=… …         the applications of the snapshot before them
//   statement sched_weight=… l_start_time=…     sub-records of the application before them
//   other type=… size=…
//   end empty|repeat|unreachable                what comes after the last snapshot; default empty
//
// Fields of an application: agent_id, applname, appl_id, authid, conn_time, idle_time, locks_held,
// ref_agent_id, rows_selected, rows_read, uow_start, uow_stop, user_cpu_s, user_cpu_us,
// system_cpu_s, system_cpu_us, aux_number. Fields that are absent are 0 or empty; fields.h says how
// text is quoted. Blank lines and lines that begin with '#' are left out.
//
// For malformed snapshots: size= and rec_type= on application and statement lines (type= on other
// lines) are what the record says of itself, subrec_count= is what an application says of its
// sub-records, num_records= and switches=0,0,0,0,0,0 what the summary says.
//
// Only one snapshot is in memory at a time, however long the recording is.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "dbm/common/application.h"
#include "dbm/common/fields.h"
#include "dbm/common/line_reader.h"
#include "dbm/common/outcome.h"
#include "dbm/common/script.h"

namespace dbm {

struct played_application {
    application reported;
    record_claims claims;
    std::optional<uint32_t> claimed_subrecs;
    uint32_t subrecs = 0;  // how many of the snapshot's sub-records are its own
};

struct played_subrecord {
    bool statement = false;
    uint32_t sched_weight = 0;
    uint32_t l_start_time = 0;
    record_claims claims;
};

struct played_snapshot {
    uint32_t time = 0;
    std::optional<uint32_t> num_records;
    std::optional<std::array<uint32_t, dbm_summary_groups>> switches;
    std::vector<played_application> applications;
    std::vector<played_subrecord> subrecords;  // in the applications' order
};

struct recording {
    std::string path;  // empty: none is open
    line_reader lines;
    field_line line;  // the line read last, taken apart
    std::vector<script_line> script;
    line_position first_snapshot;
    outcome failure;  // a fault met once is answered from then on
    bool loaded = false;
    played_snapshot snapshot;  // the one to be played next, when loaded
};

// Opens the recording at path and reads it up to its first snapshot. Answers success,
// sql::database_unknown, sql::file_unreadable or sql::bad_recording; tape.failure holds the same.
// May throw bad_alloc; nothing is open then.
[[nodiscard]] outcome open_recording(recording &tape, const std::string &path,
                                     const std::string &database);

// Loads the next snapshot where none is loaded. Answers success, sql::no_data or sql::unreachable
// at the recording's end, or its failure. May throw bad_alloc; the tape is then where it was.
[[nodiscard]] outcome load_snapshot(recording &tape, const std::string &database);

// Goes back to the first snapshot.
void rewind_recording(recording &tape);

}  // namespace dbm
