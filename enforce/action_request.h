// What rule evaluation hands over to the action it has decided on.
#pragma once

#include <cstddef>
#include <cstdint>

#include "govern/snapshot_records.h"

namespace ravelo {

constexpr size_t reason_size = 200;  // with its terminator

// The three texts that rules match and records report: the snapshot's fields cut at the first
// blank.
struct appl_texts {
    char appl_name[sizeof(appl_snapshot::applname) + 1];
    char auth_id[sizeof(appl_snapshot::authid) + 1];
    char appl_text[sizeof(appl_snapshot::appl_id) + 1];
};

struct action_request {
    uint32_t agent_id;
    int32_t line;  // of the deciding rule
    appl_texts texts;
    char reason[reason_size];  // the limits breached, with their values
};

}  // namespace ravelo
