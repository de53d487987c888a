// The exported message operations: packing a message and turning it into text.
#include <array>
#include <cerrno>

#include "dbm/call.h"
#include "dbm/message_text.h"
#include "dbm/session.h"
#include "govern/interface/dbm.h"

namespace {

using dbm::operation;

int prepare(sqlca *ca, short token_count, long message, const message_token *first) {
    if (ca == nullptr || token_count < 0 || token_count > dbm_most_tokens ||
        (first == nullptr && token_count > 0) || message < INT32_MIN || message > INT32_MAX)
        return dbm::code::bad_argument;
    std::array<std::string_view, dbm_most_tokens> tokens;
    const auto count = static_cast<size_t>(token_count);
    for (size_t i = 0; i < count; ++i) {
        const message_token &token = *(first - i);  // the entries occupy falling addresses
        if (token.text == nullptr && token.length > 0)
            return dbm::code::bad_argument;
        tokens[i] = {token.text, token.length};
    }
    if (const auto *const script = dbm::script_of(operation::prepare);
        script != nullptr && script->rc != 0)
        return script->rc;
    dbm::pack_message(*ca, static_cast<int32_t>(message), std::span(tokens).first(count));
    return 0;
}

int message_text(char *buffer, int width, const char *catalog, const sqlca *ca) {
    dbm::catalog_name which = dbm::catalog_name::daemon;
    if (buffer == nullptr || width <= 0 || catalog == nullptr || ca == nullptr)
        return 0;
    const std::span<char> out(buffer, static_cast<size_t>(width));
    out[0] = '\0';
    if (!dbm::catalog_of(catalog, which))
        return 0;
    if (const auto *const script = dbm::script_of(operation::text)) {
        const size_t length = script->text ? dbm::write_plain(out, *script->text) : 0;
        return length > 0 ? static_cast<int>(length) : script->rc;
    }
    return static_cast<int>(dbm::write_message(out, which, *ca));
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] int dbm_prepare_sqlca(sqlca *ca, short token_count, long message,
                                                     const message_token *first) {
    dbm::traced_call call(operation::prepare);
    call.argument("message", message);
    call.argument("tokens", token_count);
    return dbm::answer_code(call, ENOMEM, [&] { return prepare(ca, token_count, message, first); });
}

// The text is one line whatever line_width says: nobody who logs or prints it wants it broken.
[[gnu::visibility("default")]] int dbm_message_text(char *buffer, int width, int,
                                                    const char *catalog, const sqlca *ca) {
    dbm::traced_call call(operation::text);
    call.argument("catalog", catalog != nullptr ? catalog : "");
    call.argument("message", ca != nullptr ? ca->sqlcode : 0);
    return dbm::answer_code(call, 0, [&] { return message_text(buffer, width, catalog, ca); });
}

}  // extern "C"
