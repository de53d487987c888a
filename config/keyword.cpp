#include "config/keyword.h"

#include <cstdlib>
#include <limits>

#include "daemon/base/text.h"
#include "govern/interface/dbm.h"

namespace ravelo {

void upper_case(char (&token)[token_size]) {
    dbm_to_upper(static_cast<int>(text_of(token).size()), dbm_to_upper_mode, token);
}

int32_t number_of(const char *token) {
    const long long value = std::strtoll(token, nullptr, 10);  // saturates
    using range = std::numeric_limits<int32_t>;
    return value < range::min() || value > range::max() ? range::min()
                                                        : static_cast<int32_t>(value);
}

bool is_semicolon(std::string_view token) {
    return token == ";";
}

bool is_comma(std::string_view token) {
    return token == ",";
}

}  // namespace ravelo
