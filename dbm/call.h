// The border between the exported operations and the library: nothing thrown gets across it, and
// every answer reaches the caller's sqlca and the trace.
#pragma once

#include "dbm/codes.h"
#include "dbm/common/outcome.h"
#include "dbm/message_tokens.h"
#include "dbm/trace.h"

namespace dbm {

// Runs an operation's body, which returns an outcome, and answers with it. The result is the
// call's: out of memory is sql::out_of_memory.
template <typename Body>
[[nodiscard]] int answer_call(traced_call &call, operation which, sqlca *ca,
                              const Body &body) noexcept {
    outcome result;
    try {
        result = body();
    } catch (...) {
        // Only memory can be missing: nothing in the library throws for another reason.
        result.rc = -1;
        result.sqlcode = sql::out_of_memory;
        result.tokens.clear();
        try {
            result.tokens.emplace_back(name_of(which));
        } catch (...) {
            result.tokens.clear();  // then the message has to do without the operation's name
        }
    }
    fill_sqlca(ca, result);
    call.finish(result.rc, result.sqlcode);
    return result.rc;
}

// As answer_call for operations without an sqlca: the body returns the call's result, and out of
// memory is failed.
template <typename Body>
[[nodiscard]] int answer_code(traced_call &call, int failed, const Body &body) noexcept {
    int rc = failed;
    try {
        rc = body();
    } catch (...) {
        rc = failed;
    }
    call.finish(rc, 0);
    return rc;
}

}  // namespace dbm
