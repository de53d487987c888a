// What a page tells of all records: figures by application, by rule and over time. However long the
// log is, this stays small.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/log/record.h"

namespace ravelo::logview {

// The records that are counted each for itself.
enum class record_kind : uint8_t { force, nice, schedule, warning, error, other };
constexpr size_t record_kinds = 6;
using kind_counts = std::array<uint64_t, record_kinds>;

[[nodiscard]] record_kind kind_of(const record &read);

// Values by time, in steps that grow with the time that they span, so that they fit a chart.
class time_series {
  public:
    // The most steps between the first and the last one.
    static constexpr int64_t most_steps = 72;
    static constexpr int64_t first_step = 60;

    // Sets the length of a step, a multiple of the one before, in seconds.
    void coarsen(int64_t step);
    void add(int64_t time, int64_t value) { values_[floor_to(time, step_)] += value; }
    [[nodiscard]] const std::map<int64_t, int64_t> &values() const { return values_; }

    // The beginning of the step that a time is in.
    [[nodiscard]] static int64_t floor_to(int64_t time, int64_t step);

  private:
    int64_t step_ = first_step;
    std::map<int64_t, int64_t> values_;
};

struct application_figures {
    kind_counts done{};
    int64_t user_cpu = 0, system_cpu = 0;
    time_series cpu{};  // both together
};

struct rule_figures {
    kind_counts done{};
    std::optional<int64_t> last{};
};

class statistics {
  public:
    // Application and authorization id.
    using name = std::pair<std::string, std::string>;
    // Applications, and rules, beyond so many are counted together: under an empty name, and line
    // 0.
    static constexpr size_t most_names = 500;

    void add(const record &read);

    [[nodiscard]] uint64_t records() const { return records_; }
    [[nodiscard]] const kind_counts &done() const { return done_; }
    [[nodiscard]] std::optional<int64_t> first() const { return first_; }
    [[nodiscard]] std::optional<int64_t> last() const { return last_; }
    [[nodiscard]] int64_t step() const { return step_; }
    [[nodiscard]] const time_series &over_time(record_kind which) const {
        return over_time_[static_cast<size_t>(which)];
    }
    [[nodiscard]] const std::map<name, application_figures> &applications() const {
        return applications_;
    }
    [[nodiscard]] const std::map<int32_t, rule_figures> &rules() const { return rules_; }

  private:
    void stretch(int64_t time);
    application_figures &figures_of(const record &read);

    uint64_t records_ = 0;
    kind_counts done_{};
    std::optional<int64_t> first_, last_;
    int64_t step_ = time_series::first_step;
    std::array<time_series, record_kinds> over_time_;
    std::map<name, application_figures> applications_;
    std::map<int32_t, rule_figures> rules_;
};

}  // namespace ravelo::logview
