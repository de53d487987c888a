// Scripted outcomes: the 'result' lines of a recording, which must stand before its first snapshot.
//
//   result operation=NAME call=N [rc=] [sqlcode=] [agent_id=] [states=] [size=] [text=]
//
// operation  init, authinfo, instance_path, set_client, attach, detach, switches, size, snapshot,
//            force, priority, prepare or text
// call       the N-th call of the operation in this process, from 1: N, N-M, N- (from N on) or
//            * (every call, also when absent)
// rc         the call's result; default 0, for attach and detach -1
// sqlcode    default 0
// agent_id   force and priority: only calls for this agent count, from the recording's opening on
// states     switches: the seven output states, 1,0,0,0,0,0,0
// size       size: the estimate
// text       attach, detach: the failure's text, text: what is answered; "" is no text
//
// Of several lines that fit a call the first one counts. A scripted force or priority call is not
// carried out, whatever its outcome; neither is a snapshot or size call whose rc or sqlcode is not
// 0. A scripted detach is.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dbm/common/fields.h"
#include "dbm/common/operation.h"
#include "dbm/common/text.h"
#include "govern/interface/snapshot_records.h"

namespace dbm {

// A scripted outcome of one call. It stands in for an authinfo, set_client, force, priority or text
// call whatever it says. Other operations are carried out when its rc and sqlcode are 0, and only
// what else is given stands in for their own answer.
struct scripted_answer {
    int rc = 0;
    int32_t sqlcode = 0;
    std::optional<std::array<uint32_t, dbm_switch_groups>> states;  // output states of the switches
    std::optional<uint32_t> size;                                   // estimated bytes
    std::optional<std::string> text;  // the failure's text; empty: none
};

struct script_line {
    operation which = operation::init;
    uint32_t first_call = 1;
    uint32_t last_call = UINT32_MAX;
    std::optional<uint32_t> agent_id;
    uint32_t calls = 0;  // calls so far that this line is about
    scripted_answer answer;
};

// Calls of every operation in this process.
using call_counts = std::array<uint32_t, operation_names.size()>;

// Reads a 'result' line that was taken apart. False with fault filled. May throw bad_alloc.
[[nodiscard]] bool parse_script_line(const field_line &line, script_line &parsed,
                                     line_fault &fault);

// Counts a call in every line that is about it and returns the answer of the first one that fits,
// null: none does.
[[nodiscard]] const scripted_answer *play_call(std::vector<script_line> &script, operation which,
                                               uint32_t agent_id);

// Reads Count numbers separated by commas.
template <size_t Count>
[[nodiscard]] bool parse_list(std::string_view text, std::array<uint32_t, Count> &numbers) {
    for (size_t i = 0; i < Count; ++i) {
        const size_t comma = text.find(',');
        const bool last = i + 1 == Count;
        if ((comma == std::string_view::npos) != last ||
            !parse_number(text.substr(0, comma), numbers[i]))
            return false;
        text = last ? std::string_view() : text.substr(comma + 1);
    }
    return true;
}

}  // namespace dbm
