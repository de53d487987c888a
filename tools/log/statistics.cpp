#include "tools/log/statistics.h"

#include <algorithm>

namespace ravelo::logview {
namespace {

// Each divides the next one; beyond the last they double.
constexpr std::array<int64_t, 10> steps = {60,    300,   900,   3600,   10800,
                                           21600, 43200, 86400, 604800, 2419200};

int64_t longer_step(int64_t step) {
    const auto *const next = std::upper_bound(steps.begin(), steps.end(), step);
    return next != steps.end() ? *next : 2 * step;
}

}  // namespace

record_kind kind_of(const record &read) {
    constexpr std::array<std::string_view, record_kinds - 1> types = {"FORCE", "NICE", "SCHEDGRP",
                                                                      "WARNING", "ERROR"};
    const auto *const found = std::find(types.begin(), types.end(), read.type);
    return static_cast<record_kind>(found - types.begin());
}

int64_t time_series::floor_to(int64_t time, int64_t step) {
    return time - (time % step + step) % step;
}

void time_series::coarsen(int64_t step) {
    step_ = step;
    std::map<int64_t, int64_t> values;
    for (const auto &[time, value] : values_)
        values[floor_to(time, step)] += value;
    values_ = std::move(values);
}

void statistics::stretch(int64_t time) {
    first_ = std::min(first_.value_or(time), time);
    last_ = std::max(last_.value_or(time), time);
    const int64_t before = step_;
    while (time_series::floor_to(*last_, step_) - time_series::floor_to(*first_, step_) >=
           time_series::most_steps * step_)
        step_ = longer_step(step_);
    if (step_ == before)
        return;
    for (time_series &series : over_time_)
        series.coarsen(step_);
    for (auto &[key, figures] : applications_)
        figures.cpu.coarsen(step_);
}

application_figures &statistics::figures_of(const record &read) {
    name key(read.application, read.authid);
    const auto found = applications_.find(key);
    if (found != applications_.end())
        return found->second;
    if (applications_.size() >= most_names)
        key = name();
    const auto [entry, is_new] = applications_.try_emplace(std::move(key));
    if (is_new)
        entry->second.cpu.coarsen(step_);
    return entry->second;
}

void statistics::add(const record &read) {
    const record_kind which = kind_of(read);
    const auto place = static_cast<size_t>(which);
    ++records_;
    ++done_[place];
    if (read.time) {
        stretch(*read.time);
        over_time_[place].add(*read.time, 1);
    }
    if (!read.application.empty() || !read.authid.empty()) {
        application_figures &figures = figures_of(read);
        ++figures.done[place];
        figures.user_cpu += read.user_cpu;
        figures.system_cpu += read.system_cpu;
        const int64_t cpu = read.user_cpu + read.system_cpu;
        if (read.time && cpu > 0)
            figures.cpu.add(*read.time, cpu);
    }
    if (read.rule) {
        const bool known = rules_.contains(*read.rule) || rules_.size() < most_names;
        rule_figures &figures = rules_[known ? *read.rule : 0];
        ++figures.done[place];
        figures.last = read.time ? read.time : figures.last;
    }
}

}  // namespace ravelo::logview
