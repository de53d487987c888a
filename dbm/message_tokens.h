// Message tokens inside an sqlca and, where the record has no room for them, beside it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "dbm/common/outcome.h"
#include "govern/interface/constants.h"
#include "govern/interface/dbm.h"

namespace dbm {

// Writes an operation's answer to the whole of ca; a null ca is left alone. Tokens that don't fit
// are kept in the library; when there is no memory for that, the message shows what did fit.
void fill_sqlca(sqlca *ca, const outcome &result) noexcept;

// Packs a message number and its tokens, at most dbm_most_tokens, into ca and leaves its other
// fields alone.
void pack_message(sqlca &ca, int32_t number, std::span<const std::string_view> tokens) noexcept;

// The tokens of ca's message, whole where the library still keeps them. The views live until the
// next message is packed, and no longer than ca.
struct message_view {
    std::array<std::string_view, dbm_most_tokens> tokens;
    size_t count = 0;
    std::optional<std::string_view> text;  // stands in for the catalog's text; empty: there is none
};
[[nodiscard]] message_view message_of(const sqlca &ca) noexcept;

}  // namespace dbm
