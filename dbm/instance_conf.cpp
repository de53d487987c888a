#include "dbm/instance_conf.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cerrno>
#include <span>
#include <string_view>
#include <utility>

#include "dbm/codes.h"
#include "dbm/common/fields.h"
#include "dbm/common/line_reader.h"
#include "dbm/common/text.h"
#include "govern/interface/constants.h"

namespace dbm {

namespace {

constexpr uint32_t most_nodes = 1000;
constexpr uint32_t longest_timeout = 3600;

bool set_name(settings &conf, std::string_view, std::string_view value) {
    if (value.empty() || value.size() > dbm_longest_instance)
        return false;
    conf.name = value;
    return true;
}

bool set_manager(settings &conf, std::string_view, std::string_view value) {
    conf.manager = value;
    return !value.empty();
}

bool set_nodes(settings &conf, std::string_view, std::string_view value) {
    uint32_t nodes = 0;
    if (!parse_number(value, nodes) || nodes < 1 || nodes > most_nodes)
        return false;
    conf.nodes = nodes;
    return true;
}

bool set_observe(settings &conf, std::string_view, std::string_view value) {
    conf.observe = value == "yes";
    return value == "yes" || value == "no";
}

bool set_connection(settings &conf, std::string_view, std::string_view value) {
    conf.connection = value;
    return !value.empty();
}

bool set_database(settings &conf, std::string_view subject, std::string_view value) {
    std::string name = upper_case(subject);
    if (name.empty() || name.size() > dbm_longest_database || value.empty() ||
        !server_name(conf, name).empty())
        return false;
    conf.databases.push_back({std::move(name), std::string(value)});
    return true;
}

bool set_protect(settings &conf, std::string_view, std::string_view value) {
    conf.protect_privileged = value != "none";
    while (conf.protect_privileged) {
        const size_t comma = value.find(',');
        const std::string_view role = without_blanks(value.substr(0, comma));
        const bool is_group = role.starts_with('+');
        if (role.size() <= (is_group ? 1 : 0) || role == "none")
            return false;
        if (is_group)
            conf.protected_groups.emplace_back(role.substr(1));
        else
            conf.protected_roles.emplace_back(role);
        if (comma == std::string_view::npos)
            break;
        value.remove_prefix(comma + 1);
    }
    return true;
}

bool set_timeout(settings &conf, std::string_view, std::string_view value) {
    uint32_t seconds = 0;
    if (!parse_number(value, seconds) || seconds < 1 || seconds > longest_timeout)
        return false;
    conf.timeout = seconds;
    return true;
}

struct setting_key {
    std::string_view name;
    // subject is the word between the key and '=', empty for keys that have none.
    bool (*set)(settings &conf, std::string_view subject, std::string_view value);
    std::string_view reason;   // when the value is refused
    bool has_subject = false;  // then it may stand once for every subject
};

constexpr std::array<setting_key, 8> keys = {{
    {"name", set_name, "is not a name of 1 to 9 characters"},
    {"manager", set_manager, "is not the name of a manager"},
    {"nodes", set_nodes, "is not a number from 1 to 1000"},
    {"observe", set_observe, "is neither yes nor no"},
    {"connection", set_connection, "is not a connection string"},
    {"database", set_database, "is not the only name of a database of 1 to 8 characters", true},
    {"protect", set_protect, "is neither none nor a list of roles"},
    {"timeout", set_timeout, "is not a number from 1 to 3600"},
}};

std::string_view without_comment(std::string_view line) {
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '#' && (i == 0 || is_blank(line[i - 1])))
            return line.substr(0, i);
    }
    return line;
}

// Sets what one line says. False with fault filled when it is not understood.
bool apply_line(settings &conf, std::string_view text, std::bitset<keys.size()> &met,
                line_fault &fault) {
    const std::string_view line = without_blanks(without_comment(text));
    if (line.empty())
        return true;
    const size_t equals = line.find('=');
    const std::string_view left = without_blanks(line.substr(0, equals));
    const std::string_view name = left.substr(0, left.find_first_of(" \t"));
    const std::string_view subject = without_blanks(left.substr(name.size()));
    const auto *const key = std::find_if(keys.begin(), keys.end(),
                                         [&](const setting_key &k) { return k.name == name; });
    if (key == keys.end() || (!key->has_subject && !subject.empty())) {
        fault = {left.empty() ? line : left, "is not a setting"};
        return false;
    }
    if (equals == std::string_view::npos) {
        fault = {name, "has no value"};
        return false;
    }
    const auto index = static_cast<size_t>(key - keys.begin());
    if (met.test(index) && !key->has_subject) {
        fault = {name, "stands there twice"};
        return false;
    }
    met.set(index);
    const std::string_view value = without_blanks(line.substr(equals + 1));
    if (!key->set(conf, subject, value)) {
        fault = {value, key->reason};
        return false;
    }
    return true;
}

}  // namespace

std::string_view server_name(const settings &conf, std::string_view database) {
    for (const database_name &each : conf.databases) {
        if (each.name == database)
            return each.server;
    }
    return {};
}

outcome read_settings(const std::string &path, settings &conf) {
    conf = settings{};
    line_reader reader;
    const int opened = open_lines(reader, path);
    if (opened == ENOENT || opened == ENOTDIR)
        return {};
    if (opened != 0)
        return call_failed(sql::file_unreadable, {path, std::to_string(opened)});
    outcome first;
    std::bitset<keys.size()> met;
    std::span<char> line;
    while (true) {
        const line_status status = next_line(reader, line);
        if (status == line_status::end)
            return first;
        if (status == line_status::failed)
            return call_failed(sql::file_unreadable, {path, std::to_string(reader.error)});
        line_fault fault = {"the line", "is too long"};
        if (status == line_status::line && apply_line(conf, {line.data(), line.size()}, met, fault))
            continue;
        if (first.rc == 0) {
            first =
                call_failed(sql::bad_setting, {path, std::to_string(reader.lines),
                                               std::string(fault.text), std::string(fault.reason)});
        }
        if (status == line_status::too_long)
            return first;
    }
}

}  // namespace dbm
