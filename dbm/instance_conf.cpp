#include "dbm/instance_conf.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cerrno>
#include <span>
#include <string_view>

#include "dbm/codes.h"
#include "dbm/fields.h"
#include "dbm/line_reader.h"

namespace dbm {

namespace {

constexpr size_t longest_name = 9;
constexpr uint32_t most_nodes = 1000;

bool set_name(settings &conf, std::string_view value) {
    if (value.empty() || value.size() > longest_name)
        return false;
    conf.name = value;
    return true;
}

bool set_manager(settings &conf, std::string_view value) {
    conf.manager = value;
    return !value.empty();
}

bool set_nodes(settings &conf, std::string_view value) {
    uint32_t nodes = 0;
    if (!parse_number(value, nodes) || nodes < 1 || nodes > most_nodes)
        return false;
    conf.nodes = nodes;
    return true;
}

bool set_observe(settings &conf, std::string_view value) {
    conf.observe = value == "yes";
    return value == "yes" || value == "no";
}

struct setting_key {
    std::string_view name;
    bool (*set)(settings &conf, std::string_view value);
    std::string_view reason;  // when the value is refused
};

constexpr std::array<setting_key, 4> keys = {{
    {"name", set_name, "is not a name of 1 to 9 characters"},
    {"manager", set_manager, "is not the name of a manager"},
    {"nodes", set_nodes, "is not a number from 1 to 1000"},
    {"observe", set_observe, "is neither yes nor no"},
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
    const std::string_view name = without_blanks(line.substr(0, equals));
    const auto *const key = std::find_if(keys.begin(), keys.end(),
                                         [&](const setting_key &k) { return k.name == name; });
    if (key == keys.end()) {
        fault = {name.empty() ? line : name, "is not a setting"};
        return false;
    }
    if (equals == std::string_view::npos) {
        fault = {name, "has no value"};
        return false;
    }
    const auto index = static_cast<size_t>(key - keys.begin());
    if (met.test(index)) {
        fault = {name, "stands there twice"};
        return false;
    }
    met.set(index);
    const std::string_view value = without_blanks(line.substr(equals + 1));
    if (!key->set(conf, value)) {
        fault = {value, key->reason};
        return false;
    }
    return true;
}

}  // namespace

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
