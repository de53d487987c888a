#include "tools/log/record.h"

#include <algorithm>
#include <charconv>

#include "tools/log/civil_time.h"
#include "tools/log/sentences.h"

namespace ravelo::logview {
namespace {

constexpr std::string_view no_time = "9999-99-99-99.99.99";
constexpr size_t stamp_size = no_time.size();
constexpr size_t type_width = 10;
constexpr size_t longest_type = 20;

// Columns of an accounting record's text.
constexpr size_t authid_width = 20;
constexpr size_t application_id_at = 21;
constexpr size_t application_id_width = 32;
constexpr size_t application_at = 54;
constexpr size_t application_width = 20;
constexpr size_t connected_at = 75;
constexpr size_t figures_at = 95;

std::string_view without_blanks(std::string_view text) {
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::optional<int32_t> small_number(std::string_view digits) {
    const auto value = parse_number(digits, INT32_MIN, INT32_MAX);
    return value ? std::optional(static_cast<int32_t>(*value)) : std::nullopt;
}

bool parse_account(record &read) {
    const std::string_view text = read.text;
    if (text.size() <= figures_at || !(text.substr(connected_at, stamp_size) == no_time ||
                                       parse_stamp(text.substr(connected_at, stamp_size))))
        return false;
    const std::string_view figures = without_blanks(text.substr(figures_at));
    const size_t gap = std::min(figures.find(' '), figures.size());
    const auto user = small_number(figures.substr(0, gap));
    const auto system = small_number(without_blanks(figures.substr(gap)));
    if (!user || !system)
        return false;
    read.authid = without_blanks(text.substr(0, authid_width));
    read.application_id = without_blanks(text.substr(application_id_at, application_id_width));
    read.application = without_blanks(text.substr(application_at, application_width));
    read.user_cpu = *user;
    read.system_cpu = *system;
    read.accounted = true;
    return true;
}

// Takes "(1060) " off the text.
void parse_location(record &read) {
    const size_t end = read.text.find(") ");
    if (!read.text.starts_with('(') || end == std::string_view::npos)
        return;
    read.location = small_number(read.text.substr(1, end - 1));
    if (read.location)
        read.text.remove_prefix(end + 2);
}

void parse_action(const sentences &known, record &read) {
    const std::optional<action_names> names = known.names_in(read.type, read.text);
    if (!names)
        return;
    read.application = names->application;
    read.authid = names->authid;
    read.application_id = names->application_id;
    read.rule = small_number(names->rule);
    read.priority = small_number(names->priority);
    read.reason = without_blanks(names->reason);
}

bool is_type(std::string_view word) {
    return !word.empty() && word.size() <= longest_type &&
           std::all_of(word.begin(), word.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

// The type and, behind its blank-filled column, the text.
bool parse_type(std::string_view rest, record &read) {
    read.type = rest.substr(0, rest.find(' '));
    if (!is_type(read.type))
        return false;
    const size_t column_end = std::max(type_width, read.type.size());
    const size_t text_at = std::min(column_end + 1, rest.size());
    const std::string_view between = rest.substr(0, text_at).substr(read.type.size());
    read.text = rest.substr(text_at);
    return between.find_first_not_of(' ') == std::string_view::npos;
}

}  // namespace

std::optional<int64_t> parse_number(std::string_view digits, int64_t lowest, int64_t highest) {
    int64_t value = 0;
    const char *const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value);
    if (error != std::errc() || stop != end || value < lowest || value > highest)
        return std::nullopt;
    return value;
}

std::optional<int64_t> parse_stamp(std::string_view stamp) {
    if (stamp.size() != stamp_size || stamp[10] != '-' || stamp[13] != '.' || stamp[16] != '.')
        return std::nullopt;
    const auto day = day_of(stamp.substr(0, 10));
    const auto hour = parse_number(stamp.substr(11, 2), 0, 23);
    const auto minute = parse_number(stamp.substr(14, 2), 0, 59);
    const auto second = parse_number(stamp.substr(17, 2), 0, 60);
    if (!day || !hour || !minute || !second)
        return std::nullopt;
    return *day + *hour * 3600 + *minute * 60 + *second;
}

bool parse_record(std::string_view line, const sentences &known, record &read) {
    read = record();
    const std::string_view stamp = line.substr(0, stamp_size);
    read.time = parse_stamp(stamp);
    if ((!read.time && stamp != no_time) || line.size() <= stamp_size || line[stamp_size] != ' ')
        return false;
    std::string_view rest = line.substr(stamp_size);
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    const size_t gap = std::min(rest.find(' '), rest.size());
    const auto node = small_number(rest.substr(0, gap));
    if (!node || gap == rest.size() || !parse_type(rest.substr(gap + 1), read))
        return false;
    read.node = *node;
    if (read.type == "ERROR" || read.type == "WARNING")
        parse_location(read);
    else if (read.type == "ACCOUNT")
        return parse_account(read);
    else
        parse_action(known, read);
    return true;
}

}  // namespace ravelo::logview
