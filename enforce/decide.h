// What the rules decide for one application.
#pragma once

#include <cstdint>

#include "config/limits.h"
#include "config/rules.h"
#include "daemon/base/glob_struct.h"
#include "enforce/addl_appl_info.h"
#include "enforce/appl_texts.h"

namespace ravelo {

struct decision {
    const config_restrict *rule;  // the deciding rule; only looked at when a limit is breached
    uint32_t breached;            // its limits that are breached, bit 0 for the first of the table
    application_figures from;     // where the figures are that the limits were held against
};

// Takes every rule in file order; the last applying rule that breaches a limit decides. No limit is
// breached when nothing is to be done.
[[nodiscard]] decision decide(const glob_struct *glob, const appl_texts &texts,
                              const appl_snapshot *record, const addl_appl_info_struct *info);

}  // namespace ravelo
