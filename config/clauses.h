// The readers of a rule's clauses, in their fixed order: desc, time, authid, applname, setlimit.
//
// Each reads its clause into the rule, reads the next keyword and hands over to the reader of the
// clause that follows; get_setlimit reads the limits, the action and the closing ";".
// Results of all of them, each failure reported:
//    0  the rest of the rule was read, up to and including its ";"
//   -2  the stream could not be read
//   -7  any other error. What was read stays with the rule, for release_rules.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "config/rules.h"
#include "daemon/base/glob_struct.h"

namespace ravelo {

[[nodiscard]] int32_t get_desc(glob_struct *glob, config_restrict *rule);
[[nodiscard]] int32_t get_time(glob_struct *glob, config_restrict *rule);
[[nodiscard]] int32_t get_authid(glob_struct *glob, config_restrict *rule);
[[nodiscard]] int32_t get_applname(glob_struct *glob, config_restrict *rule);
[[nodiscard]] int32_t get_setlimit(glob_struct *glob, config_restrict *rule);

struct clause_reader {
    std::string_view keyword;  // upper case
    int32_t (*read)(glob_struct *, config_restrict *);
};

// The clauses in the order in which they may follow each other.
constexpr std::array<clause_reader, 5> clause_order{{{"DESC", get_desc},
                                                     {"TIME", get_time},
                                                     {"AUTHID", get_authid},
                                                     {"APPLNAME", get_applname},
                                                     {"SETLIMIT", get_setlimit}}};

}  // namespace ravelo
