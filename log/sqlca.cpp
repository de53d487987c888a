#include "log/sqlca.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace ravelo {
namespace {

constexpr sqlca make_template() {
    sqlca ca{};
    constexpr std::string_view eye_catcher = "SQLCA   ";
    constexpr std::string_view component = "RAVELOD ";
    std::copy(eye_catcher.begin(), eye_catcher.end(), ca.sqlcaid);
    ca.sqlcabc = sizeof(sqlca);
    std::fill(std::begin(ca.sqlerrmc), std::end(ca.sqlerrmc), ' ');
    std::copy(component.begin(), component.end(), ca.sqlerrp);
    std::fill(std::begin(ca.sqlwarn), std::end(ca.sqlwarn), ' ');
    std::fill(std::begin(ca.sqlstate), std::end(ca.sqlstate), ' ');
    return ca;
}

}  // namespace

constexpr sqlca init_sqlca = make_template();

void set_init_sqlca(sqlca *ca) {
    if (ca != nullptr)
        *ca = init_sqlca;
}

int prep_sqlca(sqlca *ca, message number, const char *component,
               std::span<const std::string_view> tokens) {
    const size_t count = std::min(tokens.size(), max_tokens);
    // The library takes the address of token 0 and finds token i at i entries below it.
    std::array<message_token, max_tokens> table{};
    for (size_t i = 0; i < count; ++i) {
        constexpr size_t longest = std::numeric_limits<uint16_t>::max();
        message_token &entry = table[max_tokens - 1 - i];
        entry.length = static_cast<uint16_t>(std::min(tokens[i].size(), longest));
        entry.text = tokens[i].data();
    }
    if (component != nullptr)
        std::memcpy(ca->sqlerrp, component, sizeof(ca->sqlerrp));
    std::memset(ca->sqlstate, ' ', sizeof(ca->sqlstate));
    return dbm_prepare_sqlca(ca, static_cast<short>(count), static_cast<long>(number),
                             &table.back());
}

}  // namespace ravelo
