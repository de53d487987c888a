// A chart of stacked columns over time, as HTML with inline SVG. The words stand beside the drawing
// and not in it, so that they keep their size on a narrow screen.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/log/statistics.h"

namespace ravelo::logview {

struct chart_series {
    std::string label;  // safe for HTML
    std::string style;  // class that gives its colour
    const time_series *values;
};

struct chart {
    std::string id;  // of its title, within the page
    std::string title, unit;
    std::string description;  // of what is seen, for those who don't see it
    std::vector<chart_series> series;
    int64_t first, last, step;  // of time; the step that first is in begins the chart
};

// Appends the chart. Without any value above 0 it says that there is nothing to show.
void append_chart(std::string &out, const chart &drawn);

// A number, for HTML, with blanks between its thousands that don't break.
[[nodiscard]] std::string show_number(int64_t number);

// "1 hour", "15 minutes", "7 days".
[[nodiscard]] std::string show_step(int64_t step);

}  // namespace ravelo::logview
