#include "dbm/common/snapshot_lines.h"

#include <array>
#include <span>

#include "dbm/common/text.h"

namespace dbm {

namespace {

constexpr std::string_view not_a_number = "is not a number from 0 to 4294967295";
constexpr std::string_view too_long = "is too long";
constexpr std::string_view not_a_character = "is not one character";

// How the values of one field get into a Target. Returns why the value is refused, empty: it is
// not.
template <typename Target>
struct field_rule {
    std::string_view name;
    std::string_view (*set)(Target &target, std::string_view value);
};

std::string_view set_number(uint32_t &number, std::string_view value) {
    return parse_number(value, number) ? std::string_view() : not_a_number;
}

std::string_view set_number(std::optional<uint32_t> &number, std::string_view value) {
    return set_number(number.emplace(), value);
}

std::string_view set_character(std::optional<char> &character, std::string_view value) {
    if (value.size() != 1)
        return not_a_character;
    character = value.front();
    return {};
}

std::string_view set_text(std::span<char> target, std::string_view value) {
    return pad_text(target, value) ? std::string_view() : too_long;
}

template <auto Member>
std::string_view set_figure(played_application &to, std::string_view value) {
    return set_number(to.reported.*Member, value);
}

template <auto Member>
std::string_view set_name(played_application &to, std::string_view value) {
    return set_text(to.reported.who.*Member, value);
}

template <typename Target>
std::string_view set_size(Target &to, std::string_view value) {
    return set_number(to.claims.size, value);
}

template <typename Target>
std::string_view set_type(Target &to, std::string_view value) {
    return set_character(to.claims.rec_type, value);
}

constexpr std::array<field_rule<played_application>, 20> application_fields = {{
    {"agent_id", [](auto &to, auto value) { return set_number(to.reported.who.agent_id, value); }},
    {"applname", set_name<&agent::applname>},
    {"appl_id", set_name<&agent::appl_id>},
    {"authid", set_name<&agent::authid>},
    {"conn_time", set_figure<&application::conn_time>},
    {"idle_time", set_figure<&application::idle_time>},
    {"locks_held", set_figure<&application::locks_held>},
    {"ref_agent_id", set_figure<&application::ref_agent_id>},
    {"rows_selected", set_figure<&application::rows_selected>},
    {"rows_read", set_figure<&application::rows_read>},
    {"uow_start", set_figure<&application::uow_start>},
    {"uow_stop", set_figure<&application::uow_stop>},
    {"user_cpu_s", set_figure<&application::user_cpu_s>},
    {"user_cpu_us", set_figure<&application::user_cpu_us>},
    {"system_cpu_s", set_figure<&application::system_cpu_s>},
    {"system_cpu_us", set_figure<&application::system_cpu_us>},
    {"aux_number", set_figure<&application::aux_number>},
    {"size", set_size<played_application>},
    {"rec_type", set_type<played_application>},
    {"subrec_count", [](auto &to, auto value) { return set_number(to.claimed_subrecs, value); }},
}};

constexpr std::array<field_rule<played_subrecord>, 4> statement_fields = {{
    {"sched_weight", [](auto &to, auto value) { return set_number(to.sched_weight, value); }},
    {"l_start_time", [](auto &to, auto value) { return set_number(to.l_start_time, value); }},
    {"size", set_size<played_subrecord>},
    {"rec_type", set_type<played_subrecord>},
}};

constexpr std::array<field_rule<played_subrecord>, 2> other_fields = {{
    {"type", set_type<played_subrecord>},
    {"size", set_size<played_subrecord>},
}};

constexpr std::array<field_rule<played_snapshot>, 3> snapshot_fields = {{
    {"time", [](auto &to, auto value) { return set_number(to.time, value); }},
    {"num_records", [](auto &to, auto value) { return set_number(to.num_records, value); }},
    {"switches",
     [](auto &to, auto value) {
         return parse_list(value, to.switches.emplace())
                    ? std::string_view()
                    : std::string_view("is not six numbers separated by commas");
     }},
}};

// Sets what the fields of a line say. Fields mostly stand in the order of their rules, so each
// search begins where the last one ended.
template <typename Target, size_t Count>
bool set_fields(const field_line &line, const std::array<field_rule<Target>, Count> &rules,
                Target &target, line_fault &fault) {
    static_assert(Count <= 32);
    uint32_t met = 0;
    size_t next = 0;
    for (const field &given : line.fields) {
        size_t tried = 0;
        while (tried < Count && rules[next].name != given.name) {
            next = (next + 1) % Count;
            ++tried;
        }
        fault.text = given.name;
        if (tried == Count) {
            fault.reason = "is not a field of this line";
            return false;
        }
        if ((met >> next & 1) != 0) {
            fault.reason = "stands there twice";
            return false;
        }
        met |= uint32_t{1} << next;
        fault.reason = rules[next].set(target, given.value);
        if (!fault.reason.empty())
            return false;
        next = (next + 1) % Count;
    }
    return true;
}

}  // namespace

bool parse_snapshot(const field_line &line, played_snapshot &snapshot, line_fault &fault) {
    snapshot.time = 0;
    snapshot.num_records.reset();
    snapshot.switches.reset();
    snapshot.applications.clear();
    snapshot.subrecords.clear();
    return set_fields(line, snapshot_fields, snapshot, fault);
}

bool add_application_line(const field_line &line, played_snapshot &snapshot, line_fault &fault) {
    played_application &added = snapshot.applications.emplace_back();
    for (const std::span<char> name :
         {std::span<char>(added.reported.who.applname), std::span<char>(added.reported.who.appl_id),
          std::span<char>(added.reported.who.authid)})
        (void)pad_text(name, "");  // empty text always fits
    if (set_fields(line, application_fields, added, fault))
        return true;
    snapshot.applications.pop_back();
    return false;
}

bool add_subrecord_line(const field_line &line, played_snapshot &snapshot, line_fault &fault) {
    if (snapshot.applications.empty()) {
        fault = {line.word, "must stand after an application"};
        return false;
    }
    played_subrecord added;
    added.statement = line.word == "statement";
    const bool understood = added.statement ? set_fields(line, statement_fields, added, fault)
                                            : set_fields(line, other_fields, added, fault);
    if (!understood)
        return false;
    snapshot.subrecords.push_back(added);
    ++snapshot.applications.back().subrecs;
    return true;
}

}  // namespace dbm
