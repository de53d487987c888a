#include <algorithm>
#include <deque>
#include <initializer_list>

#include "tools/common/safe_text.h"
#include "tools/log/chart.h"
#include "tools/log/civil_time.h"
#include "tools/log/page_files.h"
#include "tools/log/statistics.h"
#include "tools/log/writer.h"

namespace ravelo::logview {
namespace {

constexpr std::string_view page_head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<title>Governor log</title>
<style>
)";

constexpr size_t coloured_series = 6;  // of CPU; the others share one colour
constexpr size_t listed = 20;          // applications, and rules, in their tables

using named_figures = std::pair<const statistics::name, application_figures>;

std::string html(std::string_view text) {
    std::string safe;
    append_html(safe, text);
    return safe;
}

std::string grouped(int64_t number) {
    return show_number(number);
}
std::string grouped(uint64_t number) {
    return show_number(static_cast<int64_t>(number));
}

std::string cell(const std::string &content, const char *style = "n") {
    return std::string("<td class=\"") + style + "\">" + content + "</td>";
}

int64_t cpu_of(const named_figures *figures) {
    return figures->second.user_cpu + figures->second.system_cpu;
}

uint64_t actions_of(const kind_counts &done) {
    return done[0] + done[1] + done[2];
}

std::string label_of(const statistics::name &name) {
    if (name == statistics::name())
        return "others";
    return html(name.first.empty() ? "(no name)" : name.first) + " (" + html(name.second) + ")";
}

std::string action_cells(const kind_counts &done) {
    return cell(grouped(done[0])) + cell(grouped(done[1])) + cell(grouped(done[2]));
}

std::string column_heads(std::initializer_list<std::pair<const char *, const char *>> heads) {
    std::string row = "<thead><tr>";
    for (const auto &[style, words] : heads)
        row += std::string("<th scope=\"col\" class=\"") + style + "\">" + words + "</th>";
    return row + "</tr></thead>\n<tbody>\n";
}

class page_writer : public writer {
  public:
    explicit page_writer(const options &asked)
        : most_rows_(asked.page_rows), wanted_(asked.wanted_words) {}

    void add(const record &read) override {
        figures_.add(read);
        if (most_rows_ == 0)
            return;
        if (rows_.size() == most_rows_)
            rows_.pop_front();
        rows_.push_back(row_of(read));
    }

    void finish(uint64_t malformed) override {
        put(page_head);
        put(page_css);
        put("</style>\n</head>\n<body>\n");
        std::string out;
        append_summary(out, malformed);
        if (figures_.first()) {
            append_actions(out);
            append_cpu(out);
        }
        out += "<div class=\"lists\">\n";
        append_applications(out);
        append_rules(out);
        out += "</div>\n";
        put(out);
        put_records();
        put("<script>\n");
        put(page_js);
        put("</script>\n</body>\n</html>\n");
    }

  private:
    static std::string row_of(const record &read) {
        const std::string type = html(read.type);
        return "<tr><th scope=\"row\" class=\"when\">" +
               (read.time ? show_time(*read.time) : std::string("(no time)")) + "</th>" +
               cell(type, ("t " + type).c_str()) + "<td>" + html(read.application) + "</td><td>" +
               html(read.authid) + "</td><td>" + html(short_text(read)) + "</td></tr>\n";
    }

    void append_summary(std::string &out, uint64_t malformed) const {
        const kind_counts &done = figures_.done();
        int64_t cpu = 0;
        for (const named_figures &entry : figures_.applications())
            cpu += cpu_of(&entry);
        out += "<header>\n<h1>Governor log</h1>\n<p class=\"note\">";
        const std::optional<int64_t> first = figures_.first();
        const std::optional<int64_t> last = figures_.last();
        out += first && last ? show_time(*first) + " to " + show_time(*last) : "No records.";
        if (!wanted_.empty())
            out += "<br>Only: " + html(wanted_);
        out += "</p>\n</header>\n<main>\n<dl class=\"tiles\">\n";
        const std::initializer_list<std::pair<const char *, std::string>> tiles = {
            {"Records", grouped(figures_.records())},
            {"Forced off", grouped(done[static_cast<size_t>(record_kind::force)])},
            {"Re-prioritised", grouped(done[static_cast<size_t>(record_kind::nice)])},
            {"Scheduled", grouped(done[static_cast<size_t>(record_kind::schedule)])},
            {"CPU accounted", grouped(cpu) + " s"},
            {"Warnings", grouped(done[static_cast<size_t>(record_kind::warning)])},
            {"Errors", grouped(done[static_cast<size_t>(record_kind::error)])},
            {"Unreadable lines", grouped(malformed)}};
        for (const auto &[name, value] : tiles)
            out += std::string("<div><dt>") + name + "</dt><dd>" + value + "</dd></div>\n";
        out += "</dl>\n";
    }

    [[nodiscard]] chart chart_over_all(const char *id, const char *title, const char *unit) const {
        // No chart is asked for where there are no records.
        const int64_t first = figures_.first().value_or(0);
        const int64_t last = figures_.last().value_or(0);
        return {id, title, unit, {}, {}, first, last, figures_.step()};
    }

    void append_actions(std::string &out) const {
        chart drawn = chart_over_all("actions", "Actions over time", "actions");
        drawn.series = {{"forced off", "force", &figures_.over_time(record_kind::force)},
                        {"re-prioritised", "nice", &figures_.over_time(record_kind::nice)},
                        {"scheduled", "schedule", &figures_.over_time(record_kind::schedule)}};
        const kind_counts &done = figures_.done();
        drawn.description = "Columns of how many applications were forced off, in all " +
                            std::to_string(done[0]) + ", re-prioritised, " +
                            std::to_string(done[1]) + ", and scheduled, " +
                            std::to_string(done[2]) + ", by time.";
        append_chart(out, drawn);
    }

    // The applications by what they used, or by what was done about those that used nothing.
    [[nodiscard]] std::vector<const named_figures *> by_use() const {
        std::vector<const named_figures *> order;
        for (const named_figures &entry : figures_.applications())
            order.push_back(&entry);
        std::stable_sort(order.begin(), order.end(), [](const auto *a, const auto *b) {
            return std::pair(cpu_of(a), actions_of(a->second.done)) >
                   std::pair(cpu_of(b), actions_of(b->second.done));
        });
        return order;
    }

    void append_cpu(std::string &out) const {
        chart drawn = chart_over_all("cpu", "CPU time by application", "seconds");
        time_series others;
        others.coarsen(figures_.step());
        int64_t others_sum = 0;
        drawn.description = "Columns of the CPU seconds accounted, by time. In all:";
        for (const named_figures *const entry : by_use()) {
            if (cpu_of(entry) <= 0)
                continue;
            if (drawn.series.size() < coloured_series) {
                const std::string style = "c" + std::to_string(drawn.series.size());
                drawn.series.push_back({label_of(entry->first), style, &entry->second.cpu});
                drawn.description +=
                    " " + drawn.series.back().label + " " + std::to_string(cpu_of(entry)) + ";";
                continue;
            }
            others_sum += cpu_of(entry);
            for (const auto &[time, value] : entry->second.cpu.values())
                others.add(time, value);
        }
        drawn.description += " all others " + std::to_string(others_sum) + ".";
        if (others_sum > 0)
            drawn.series.push_back({"all others", "c6", &others});
        append_chart(out, drawn);
    }

    void append_applications(std::string &out) const {
        out += "<section>\n<h2 id=\"applications\">Applications</h2>\n";
        const auto order = by_use();
        if (order.size() > listed)
            out += "<p class=\"note\">The " + std::to_string(listed) + " that used most, of " +
                   std::to_string(order.size()) + ".</p>\n";
        out += "<table class=\"figures\" aria-labelledby=\"applications\">\n" +
               column_heads({{"", "Application"},
                             {"n", "CPU s"},
                             {"n", "Forced"},
                             {"n", "Re-prio."},
                             {"n", "Sched."}});
        for (size_t i = 0; i < std::min(order.size(), listed); ++i)
            out += "<tr><th scope=\"row\">" + label_of(order[i]->first) + "</th>" +
                   cell(grouped(cpu_of(order[i]))) + action_cells(order[i]->second.done) +
                   "</tr>\n";
        out += "</tbody></table>\n</section>\n";
    }

    void append_rules(std::string &out) const {
        out += "<section>\n<h2 id=\"rules\">Rules</h2>\n";
        std::vector<std::pair<int32_t, rule_figures>> order(figures_.rules().begin(),
                                                            figures_.rules().end());
        std::stable_sort(order.begin(), order.end(), [](const auto &a, const auto &b) {
            return actions_of(a.second.done) > actions_of(b.second.done);
        });
        if (order.size() > listed)
            out += "<p class=\"note\">The " + std::to_string(listed) + " that acted most, of " +
                   std::to_string(order.size()) + ".</p>\n";
        out +=
            "<table class=\"figures\" aria-labelledby=\"rules\">\n" +
            column_heads(
                {{"", "Line"}, {"n", "Forced"}, {"n", "Re-prio."}, {"n", "Sched."}, {"", "Last"}});
        for (size_t i = 0; i < std::min(order.size(), listed); ++i) {
            const auto &[line, figures] = order[i];
            out += "<tr><th scope=\"row\">" + (line == 0 ? "others" : std::to_string(line)) +
                   "</th>" + action_cells(figures.done) +
                   cell(figures.last ? show_time(*figures.last) : "", "") + "</tr>\n";
        }
        out += "</tbody></table>\n</section>\n";
    }

    void put_records() const {
        put("<section class=\"list\">\n<h2 id=\"records\">Records</h2>\n");
        if (figures_.records() > rows_.size())
            put("<p class=\"note\">The last " + grouped(rows_.size()) + " of " +
                grouped(figures_.records()) + "; the charts and figures above tell of all.</p>\n");
        put("<form hidden>\n<label>Text <input name=\"text\" type=\"search\"></label>\n"
            "<label>Type <select name=\"type\"><option value=\"\">all</option></select></label>\n"
            "<output name=\"shown\"></output>\n</form>\n"
            "<table class=\"records\" aria-labelledby=\"records\">\n" +
            column_heads({{"", "Time"},
                          {"", "Type"},
                          {"", "Application"},
                          {"", "Authorization id"},
                          {"", "What"}}));
        for (const std::string &row : rows_)
            put(row);
        put("</tbody></table>\n</section>\n</main>\n");
    }

    size_t most_rows_;
    std::string wanted_;
    statistics figures_;
    std::deque<std::string> rows_;
};

}  // namespace

std::unique_ptr<writer> make_page(const options &asked) {
    return std::make_unique<page_writer>(asked);
}

}  // namespace ravelo::logview
