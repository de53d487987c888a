#include "dbm/message_tokens.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace dbm {

namespace {

constexpr char separator = '\xFF';
constexpr size_t serial_word = 5;  // the sqlerrd word that finds the kept message again
constexpr size_t kept_messages = 8;

// A message whose tokens are too much for an sqlca. Owned by the library; overwritten by the
// eighth one after it.
struct kept_message {
    int32_t serial = 0;  // 0: none
    int32_t number = 0;
    std::string packed;  // what the sqlca holds of it
    std::vector<std::string> tokens;
    std::optional<std::string> text;
};
std::array<kept_message, kept_messages> kept;
int32_t last_serial = 0;

std::string_view packed_bytes(const sqlca &ca) {
    const int16_t length = ca.sqlerrml;
    return {ca.sqlerrmc,
            std::min(sizeof ca.sqlerrmc, length > 0 ? static_cast<size_t>(length) : size_t{0})};
}

// Puts the tokens into sqlerrmc, as far as they fit. False when something of them is lost.
bool pack(sqlca &ca, std::span<const std::string_view> tokens) {
    std::memset(ca.sqlerrmc, ' ', sizeof ca.sqlerrmc);
    size_t used = 0;
    bool whole = true;
    const auto put = [&](char c) {
        if (used == sizeof ca.sqlerrmc) {
            whole = false;
        } else {
            ca.sqlerrmc[used++] = c;
        }
    };
    for (size_t i = 0; i < tokens.size(); ++i) {
        if (i > 0)
            put(separator);
        for (const char c : tokens[i]) {
            whole = whole && c != separator;
            put(c == separator ? '?' : c);
            if (used == sizeof ca.sqlerrmc && !whole)
                break;
        }
    }
    ca.sqlerrml = static_cast<int16_t>(used);
    return whole;
}

// Keeps a message beside ca; without memory for it, ca stays with what it holds.
void keep(sqlca &ca, std::span<const std::string_view> tokens,
          const std::optional<std::string> &text) noexcept {
    try {
        kept_message message;
        message.number = ca.sqlcode;
        message.packed = packed_bytes(ca);
        message.tokens.assign(tokens.begin(), tokens.end());
        message.text = text;
        last_serial = last_serial == INT32_MAX ? 1 : last_serial + 1;
        message.serial = last_serial;
        kept[static_cast<size_t>(last_serial) % kept_messages] = std::move(message);
        ca.sqlerrd[serial_word] = last_serial;
    } catch (...) {
        ca.sqlerrd[serial_word] = 0;
    }
}

void pack_and_keep(sqlca &ca, int32_t number, std::span<const std::string_view> tokens,
                   const std::optional<std::string> &text) noexcept {
    ca.sqlcode = number;
    ca.sqlerrd[serial_word] = 0;
    const bool whole = pack(ca, tokens);
    if (!whole || text)
        keep(ca, tokens, text);
}

}  // namespace

void fill_sqlca(sqlca *ca, const outcome &result) noexcept {
    if (ca == nullptr)
        return;
    std::memcpy(ca->sqlcaid, "SQLCA   ", sizeof ca->sqlcaid);
    ca->sqlcabc = sizeof *ca;
    std::memcpy(ca->sqlerrp, "DBM     ", sizeof ca->sqlerrp);
    std::memset(ca->sqlerrd, 0, sizeof ca->sqlerrd);
    std::memset(ca->sqlwarn, ' ', sizeof ca->sqlwarn);
    std::memset(ca->sqlstate, ' ', sizeof ca->sqlstate);
    std::array<std::string_view, dbm_most_tokens> tokens;
    const size_t count = std::min(result.tokens.size(), tokens.size());
    std::copy_n(result.tokens.begin(), count, tokens.begin());
    pack_and_keep(*ca, result.sqlcode, std::span(tokens).first(count), result.text);
}

void pack_message(sqlca &ca, int32_t number, std::span<const std::string_view> tokens) noexcept {
    pack_and_keep(ca, number, tokens, std::nullopt);
}

message_view message_of(const sqlca &ca) noexcept {
    message_view view;
    const std::string_view packed = packed_bytes(ca);
    const int32_t serial = ca.sqlerrd[serial_word];
    const kept_message &message = kept[static_cast<uint32_t>(serial) % kept_messages];
    // A serial alone proves nothing: the record may be old, or its owner may have changed it.
    if (serial > 0 && message.serial == serial && message.number == ca.sqlcode &&
        message.packed == packed) {
        view.count = std::min(message.tokens.size(), view.tokens.size());
        std::copy_n(message.tokens.begin(), view.count, view.tokens.begin());
        if (message.text)
            view.text = *message.text;
        return view;
    }
    std::string_view remaining = packed;
    while (!packed.empty() && view.count < view.tokens.size()) {
        const size_t end = remaining.find(separator);
        view.tokens[view.count++] = remaining.substr(0, end);
        if (end == std::string_view::npos)
            break;
        remaining.remove_prefix(end + 1);
    }
    return view;
}

}  // namespace dbm
