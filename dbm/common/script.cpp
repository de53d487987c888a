#include "dbm/common/script.h"

namespace dbm {

namespace {

constexpr std::string_view not_for_operation = "does not belong to this operation";

bool is_action(operation which) {
    return which == operation::force || which == operation::priority;
}

bool is_attachment(operation which) {
    return which == operation::attach || which == operation::detach;
}

// N, N-M, N- or *.
bool parse_calls(std::string_view text, script_line &parsed) {
    if (text == "*")
        return true;
    const size_t dash = text.find('-');
    if (!parse_number(text.substr(0, dash), parsed.first_call) || parsed.first_call == 0)
        return false;
    parsed.last_call = parsed.first_call;
    if (dash == std::string_view::npos)
        return true;
    const std::string_view end = text.substr(dash + 1);
    if (end.empty()) {
        parsed.last_call = UINT32_MAX;
        return true;
    }
    return parse_number(end, parsed.last_call) && parsed.last_call >= parsed.first_call;
}

// Reads one field after the operation's name. False with reason filled.
bool parse_script_field(const field &given, script_line &parsed, std::string_view &reason) {
    scripted_answer &answer = parsed.answer;
    reason = not_for_operation;
    if (given.name == "call") {
        reason = "is not N, N-M, N- or *";
        return parse_calls(given.value, parsed);
    }
    if (given.name == "rc" || given.name == "sqlcode") {
        reason = "is not a number";
        return parse_number(given.value, given.name == "rc" ? answer.rc : answer.sqlcode);
    }
    if (given.name == "agent_id") {
        if (!is_action(parsed.which))
            return false;
        reason = "is not a number from 0 to 4294967295";
        return parse_number(given.value, parsed.agent_id.emplace());
    }
    if (given.name == "states") {
        if (parsed.which != operation::switches)
            return false;
        reason = "is not seven numbers separated by commas";
        return parse_list(given.value, answer.states.emplace());
    }
    if (given.name == "size") {
        if (parsed.which != operation::size)
            return false;
        reason = "is not a number from 0 to 4294967295";
        return parse_number(given.value, answer.size.emplace());
    }
    if (given.name == "text") {
        if (!is_attachment(parsed.which) && parsed.which != operation::text)
            return false;
        answer.text = given.value;
        return true;
    }
    reason = "is not a field of this line";
    return false;
}

}  // namespace

bool parse_script_line(const field_line &line, script_line &parsed, line_fault &fault) {
    if (line.fields.empty() || line.fields.front().name != "operation") {
        fault = {"operation", "must be the line's first field"};
        return false;
    }
    const auto which = scriptable_operation(line.fields.front().value);
    if (!which) {
        fault = {line.fields.front().value, "is not an operation"};
        return false;
    }
    parsed = script_line{};
    parsed.which = *which;
    parsed.answer.rc = is_attachment(*which) ? -1 : 0;
    for (size_t i = 1; i < line.fields.size(); ++i) {
        if (!parse_script_field(line.fields[i], parsed, fault.reason)) {
            fault.text = line.fields[i].name;
            return false;
        }
    }
    return true;
}

const scripted_answer *play_call(std::vector<script_line> &script, operation which,
                                 uint32_t agent_id) {
    const scripted_answer *answer = nullptr;
    for (script_line &line : script) {
        if (line.which != which || (line.agent_id && *line.agent_id != agent_id))
            continue;
        ++line.calls;
        if (answer == nullptr && line.calls >= line.first_call && line.calls <= line.last_call)
            answer = &line.answer;
    }
    return answer;
}

}  // namespace dbm
