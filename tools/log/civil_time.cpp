#include "tools/log/civil_time.h"

#include <chrono>
#include <cstdio>
#include <ctime>

#include "dbm/common/text.h"
#include "tools/log/record.h"

namespace ravelo::logview {
namespace {

constexpr size_t date_size = 10;

// Seconds of "08:00" or "08:00:30".
std::optional<int64_t> time_of_day(std::string_view text) {
    const bool with_seconds = text.size() == 8 && text[5] == ':';
    if ((text.size() != 5 && !with_seconds) || text[2] != ':')
        return std::nullopt;
    const auto hour = dbm::number_in<int64_t>(text.substr(0, 2), 0, 23);
    const auto minute = dbm::number_in<int64_t>(text.substr(3, 2), 0, 59);
    const auto second = dbm::number_in<int64_t>(with_seconds ? text.substr(6) : "0", 0, 59);
    if (!hour || !minute || !second)
        return std::nullopt;
    return *hour * 3600 + *minute * 60 + *second;
}

std::optional<int64_t> seconds_back(std::string_view text) {
    int64_t unit = 0;
    switch (text.back()) {
        case 's':
            unit = 1;
            break;
        case 'm':
            unit = 60;
            break;
        case 'h':
            unit = 3600;
            break;
        case 'd':
            unit = seconds_of_day;
            break;
        default:
            return std::nullopt;
    }
    const auto count = dbm::number_in<int64_t>(text.substr(1, text.size() - 2), 0, 1'000'000'000);
    return count ? std::optional(*count * unit) : std::nullopt;
}

}  // namespace

std::optional<int64_t> day_of(std::string_view date) {
    if (date.size() != date_size || date[4] != '-' || date[7] != '-')
        return std::nullopt;
    const auto year = dbm::number_in<int64_t>(date.substr(0, 4), 0, 9999);
    const auto month = dbm::number_in<int64_t>(date.substr(5, 2), 1, 12);
    const auto day = dbm::number_in<int64_t>(date.substr(8, 2), 1, 31);
    if (!year || !month || !day)
        return std::nullopt;
    const std::chrono::year_month_day found{std::chrono::year(static_cast<int>(*year)),
                                            std::chrono::month(static_cast<unsigned>(*month)),
                                            std::chrono::day(static_cast<unsigned>(*day))};
    if (!found.ok())
        return std::nullopt;
    return std::chrono::sys_days(found).time_since_epoch().count() * seconds_of_day;
}

std::string show_time(int64_t time, char separator) {
    const std::chrono::sys_seconds moment{std::chrono::seconds(time)};
    const auto midnight = std::chrono::floor<std::chrono::days>(moment);
    const std::chrono::year_month_day date(midnight);
    const auto second = static_cast<int>((moment - midnight).count());
    char shown[64];
    (void)std::snprintf(shown, sizeof shown, "%04d-%02u-%02u%c%02d:%02d:%02d",
                        static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                        static_cast<unsigned>(date.day()), separator, second / 3600,
                        second / 60 % 60, second % 60);
    return shown;
}

int64_t local_now() {
    const time_t now = std::time(nullptr);
    tm local{};
    if (localtime_r(&now, &local) == nullptr)
        return static_cast<int64_t>(now);
    return static_cast<int64_t>(now) + local.tm_gmtoff;
}

std::optional<int64_t> parse_moment(std::string_view text, int64_t now) {
    if (text.size() > 2 && text.front() == '-') {
        const auto back = seconds_back(text);
        return back ? std::optional(now - *back) : std::nullopt;
    }
    if (const auto stamp = parse_stamp(text))
        return stamp;
    int64_t day = now - (now % seconds_of_day + seconds_of_day) % seconds_of_day;
    if (text.size() >= date_size) {
        const auto given = day_of(text.substr(0, date_size));
        if (!given || text.size() == date_size)
            return given;
        if (text[date_size] != ' ' && text[date_size] != 'T')
            return std::nullopt;
        day = *given;
        text.remove_prefix(date_size + 1);
    }
    const auto second = time_of_day(text);
    return second ? std::optional(day + *second) : std::nullopt;
}

}  // namespace ravelo::logview
