// What rule evaluation hands over to the action it has decided on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "daemon/base/glob_struct.h"
#include "enforce/appl_texts.h"
#include "enforce/decide.h"

namespace ravelo {

struct action_request {
    uint32_t agent_id;
    appl_texts texts;
    decision decided;
};

constexpr size_t reason_size = 200;  // with its terminator

// The limits breached, with their figures, one after the other; what does not fit is cut. For those
// actions only that are written down: each limit's text is fetched from the library. The text lives
// in reason; msg_token is used.
[[nodiscard]] std::string_view make_reason(glob_struct *glob, const decision &decided,
                                           char (&reason)[reason_size]);

}  // namespace ravelo
