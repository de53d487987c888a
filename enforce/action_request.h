// What rule evaluation hands over to the action it has decided on.
#pragma once

#include <cstddef>
#include <cstdint>

#include "enforce/appl_texts.h"

namespace ravelo {

constexpr size_t reason_size = 200;  // with its terminator

struct action_request {
    uint32_t agent_id;
    int32_t line;  // of the deciding rule
    appl_texts texts;
    char reason[reason_size];  // the limits breached, with their values
};

}  // namespace ravelo
