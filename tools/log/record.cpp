#include "tools/log/record.h"

#include <algorithm>

#include "dbm/common/text.h"
#include "log/columns.h"
#include "tools/log/civil_time.h"
#include "tools/log/sentences.h"

namespace ravelo::logview {
namespace {

constexpr std::string_view no_time = "9999-99-99-99.99.99";
constexpr size_t stamp_size = record_columns::time.width;
constexpr size_t type_width = record_columns::type.width;
constexpr size_t longest_type = 20;
static_assert(no_time.size() == stamp_size);

bool parse_account(record &read) {
    namespace column = account_columns;
    const std::string_view text = read.text;
    if (text.size() <= column::user_cpu.begin)
        return false;
    const std::string_view connected = text_in(text, column::connected);
    if (connected != no_time && !parse_stamp(connected))
        return false;
    // A figure may be wider than its column.
    const std::string_view figures = without_fill(text.substr(column::user_cpu.begin));
    const size_t gap = std::min(figures.find(' '), figures.size());
    const auto user = dbm::number_in<int32_t>(figures.substr(0, gap));
    const auto system = dbm::number_in<int32_t>(without_fill(figures.substr(gap)));
    if (!user || !system)
        return false;
    read.authid = text_in(text, column::authid);
    read.application_id = text_in(text, column::appl_id);
    read.application = text_in(text, column::applname);
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
    read.location = dbm::number_in<int32_t>(read.text.substr(1, end - 1));
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
    read.rule = dbm::number_in<int32_t>(names->rule);
    read.priority = dbm::number_in<int32_t>(names->priority);
    read.reason = without_fill(names->reason);
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

std::optional<int64_t> parse_stamp(std::string_view stamp) {
    if (stamp.size() != stamp_size || stamp[10] != '-' || stamp[13] != '.' || stamp[16] != '.')
        return std::nullopt;
    const auto day = day_of(stamp.substr(0, 10));
    const auto hour = dbm::number_in<int64_t>(stamp.substr(11, 2), 0, 23);
    const auto minute = dbm::number_in<int64_t>(stamp.substr(14, 2), 0, 59);
    const auto second = dbm::number_in<int64_t>(stamp.substr(17, 2), 0, 60);
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
    const auto node = dbm::number_in<int32_t>(rest.substr(0, gap));
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
