// The daemon's use of the sqlca, the one error record of the system.
#pragma once

#include <span>
#include <string_view>

#include "govern/dbm.h"
#include "log/messages.h"

namespace ravelo {

// Most tokens that one message carries.
constexpr size_t max_tokens = 11;

// The only initialiser of an sqlca.
extern const sqlca init_sqlca;

// Copies init_sqlca into *ca; null is ignored.
void set_init_sqlca(sqlca *ca);

// Packs a message number and at most max_tokens tokens into *ca (a surplus is not passed on).
// component: 8 bytes for sqlerrp, or null to keep what is there. sqlstate becomes 5 blanks.
// Returns the result of dbm_prepare_sqlca; no caller depends on it.
int prep_sqlca(sqlca *ca, message number, const char *component,
               std::span<const std::string_view> tokens);

}  // namespace ravelo
