// The parts of the page that are the same for every log.
#pragma once

#include <string_view>

namespace ravelo::logview {

// From the beginning to the body, with the style; for light and dark, screens of all widths, paper.
extern const std::string_view page_head;
// The script that filters the table of records, and the end. Without it the table stands in full.
extern const std::string_view page_end;

}  // namespace ravelo::logview
