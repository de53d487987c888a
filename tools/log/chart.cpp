#include "tools/log/chart.h"

#include <algorithm>
#include <cstdio>

#include "tools/log/civil_time.h"

namespace ravelo::logview {
namespace {

constexpr int64_t height = 100;  // of the drawing, in its own units
constexpr int64_t time_labels = 5;

int64_t value_at(const chart_series &series, int64_t time) {
    const auto found = series.values->values().find(time);
    return found != series.values->values().end() ? found->second : 0;
}

// The next round number with a whole half, for the end of the scale.
int64_t round_up(int64_t value) {
    for (int64_t power = 1; power < INT64_MAX / 100; power *= 10)
        for (const int64_t factor : {2, 3, 4, 6, 8, 10})
            if (value <= factor * power && factor * power % 2 == 0)
                return factor * power;
    return value;
}

std::string decimals(double value) {
    char shown[40];
    (void)std::snprintf(shown, sizeof shown, "%.2f", value);  // fits
    return shown;
}

std::string show_moment(const chart &drawn, int64_t time) {
    const std::string whole = show_time(time);
    if (drawn.step >= seconds_of_day)
        return whole.substr(0, 10);
    const bool one_day = time_series::floor_to(drawn.first, seconds_of_day) ==
                         time_series::floor_to(drawn.last, seconds_of_day);
    return one_day ? whole.substr(11, 5) : whole.substr(5, 11);
}

void append_column(std::string &out, const chart &drawn, int64_t column, int64_t top) {
    const int64_t time = time_series::floor_to(drawn.first, drawn.step) + column * drawn.step;
    std::string bars;
    std::string words = show_time(time).substr(0, 16);
    double base = height;
    for (const chart_series &series : drawn.series) {
        const int64_t value = value_at(series, time);
        if (value <= 0)
            continue;
        const double size =
            static_cast<double>(value) * static_cast<double>(height) / static_cast<double>(top);
        base -= size;
        bars += "<rect class=\"" + series.style + "\" x=\"" + std::to_string(column) +
                ".08\" y=\"" + decimals(base) + "\" width=\".84\" height=\"" + decimals(size) +
                "\"/>";
        words += "; " + series.label + ": " + std::to_string(value);
    }
    if (!bars.empty())
        out += "<g><title>" + words + "</title>" + bars + "</g>\n";
}

int64_t highest(const chart &drawn, int64_t columns) {
    int64_t top = 0;
    for (int64_t column = 0; column < columns; ++column) {
        const int64_t time = time_series::floor_to(drawn.first, drawn.step) + column * drawn.step;
        int64_t sum = 0;
        for (const chart_series &series : drawn.series)
            sum += value_at(series, time);
        top = std::max(top, sum);
    }
    return top;
}

void append_drawing(std::string &out, const chart &drawn, int64_t columns, int64_t top) {
    const std::string width = std::to_string(columns);
    out += "<svg viewBox=\"0 0 " + width + " 100\" preserveAspectRatio=\"none\" role=\"img\" " +
           "aria-labelledby=\"" + drawn.id + "-t " + drawn.id + "-d\">\n<title id=\"" + drawn.id +
           "-t\">" + drawn.title + "</title>\n<desc id=\"" + drawn.id + "-d\">" +
           drawn.description + "</desc>\n<path class=\"grid\" d=\"M0 0H" + width + "M0 50H" +
           width + "M0 100H" + width + "\"/>\n";
    for (int64_t column = 0; column < columns; ++column)
        append_column(out, drawn, column, top);
    out += "</svg>\n";
}

void append_times(std::string &out, const chart &drawn, int64_t columns) {
    const int64_t begin = time_series::floor_to(drawn.first, drawn.step);
    const int64_t labels = std::min(columns + 1, time_labels);
    out += "<div class=\"times\" aria-hidden=\"true\">";
    for (int64_t i = 0; i < labels; ++i)
        out += "<span>" + show_moment(drawn, begin + columns * drawn.step * i / (labels - 1)) +
               "</span>";
    out += "</div>\n";
}

}  // namespace

std::string show_number(int64_t number) {
    std::string digits = std::to_string(number);
    for (size_t end = digits.size(); end > (number < 0 ? 4U : 3U);) {
        end -= 3;
        digits.insert(end, "&#8239;");
    }
    return digits;
}

std::string show_step(int64_t step) {
    const auto plural = [](int64_t count, const char *unit) {
        return std::to_string(count) + " " + unit + (count == 1 ? "" : "s");
    };
    if (step < 3600)
        return plural(step / 60, "minute");
    return step < seconds_of_day ? plural(step / 3600, "hour")
                                 : plural(step / seconds_of_day, "day");
}

void append_chart(std::string &out, const chart &drawn) {
    const int64_t columns = time_series::floor_to(drawn.last, drawn.step) / drawn.step -
                            time_series::floor_to(drawn.first, drawn.step) / drawn.step + 1;
    const int64_t most = highest(drawn, columns);
    out += "<section>\n<h2>" + drawn.title + "</h2>\n";
    if (most <= 0) {
        out += "<p class=\"note\">Nothing to show.</p>\n</section>\n";
        return;
    }
    const int64_t top = round_up(most);
    out += "<p class=\"note\">" + drawn.unit + ", each column " + show_step(drawn.step) +
           "</p>\n<ul class=\"legend\">";
    for (const chart_series &series : drawn.series)
        out += "<li><i class=\"" + series.style + "\"></i>" + series.label + "</li>";
    out += "</ul>\n<div class=\"plot\">\n<div class=\"scale\" aria-hidden=\"true\"><span>" +
           show_number(top) + "</span><span>" + show_number(top / 2) +
           "</span><span>0</span></div>\n";
    append_drawing(out, drawn, columns, top);
    append_times(out, drawn, columns);
    out += "</div>\n</section>\n";
}

}  // namespace ravelo::logview
