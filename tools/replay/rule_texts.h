// Rules in few words.
#pragma once

#include <vector>

#include "config/rules.h"
#include "tools/replay/summary.h"

namespace ravelo::replay {

// A text for every line that rules begin on, in file order: their descriptions, or else whom they
// are about, what they limit and what they do. May throw bad_alloc.
[[nodiscard]] std::vector<rule_text> rule_texts(const config_restrict *first);

}  // namespace ravelo::replay
