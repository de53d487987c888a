#include "tools/log/sentences.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "dbm/common/catalog.h"
#include "log/messages.h"

namespace ravelo::logview {
namespace {

using field = std::string_view action_names::*;

constexpr size_t most_tokens = 6;

// What the tokens of an action's message are, in their order; null: nothing of interest.
struct action {
    std::string_view type;
    message number;
    std::array<field, most_tokens> tokens;
};

constexpr std::array<action, 3> actions = {
    {{"FORCE",
      message::forced,
      {&action_names::application, &action_names::authid, &action_names::application_id, nullptr,
       &action_names::rule, &action_names::reason}},
     {"NICE",
      message::priority_set,
      {&action_names::application, &action_names::authid, &action_names::application_id,
       &action_names::priority, &action_names::rule, &action_names::reason}},
     {"SCHEDGRP",
      message::scheduled,
      {&action_names::application, &action_names::authid, &action_names::application_id,
       &action_names::rule, &action_names::reason, nullptr}}}};

}  // namespace

std::optional<sentences::sentence> sentences::parse_sentence(size_t action, std::string_view text) {
    sentence made{action, {}, {}};
    std::string *literal = &made.before;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            literal->push_back(text[i]);
            continue;
        }
        const int digit = ++i < text.size() ? text[i] - '1' : -1;
        if (digit < 0 || static_cast<size_t>(digit) >= most_tokens)
            return std::nullopt;
        made.pieces.push_back({static_cast<size_t>(digit), {}});
        literal = &made.pieces.back().behind;
    }
    return made.pieces.empty() ? std::nullopt : std::optional(made);
}

bool sentences::add_folder(const std::string &folder) {
    const size_t before = known_.size();
    std::error_code error;
    std::vector<std::string> paths;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error))
        paths.push_back(entry->path().string() + "/LC_MESSAGES/ravelo.mo");
    std::sort(paths.begin(), paths.end());  // the same language first on every machine
    for (const std::string &path : paths) {
        dbm::catalog read;
        if (!dbm::read_catalog(path, read))
            continue;
        for (size_t i = 0; i < actions.size(); ++i) {
            const auto number = static_cast<uint32_t>(actions[i].number);
            if (auto made = parse_sentence(i, dbm::find_text(read, number)))
                known_.push_back(std::move(*made));
        }
    }
    return known_.size() > before;
}

std::optional<action_names> sentences::names_in(std::string_view type,
                                                std::string_view text) const {
    for (const sentence &tried : known_) {
        if (actions[tried.action].type != type || !text.starts_with(tried.before))
            continue;
        action_names names;
        std::string_view rest = text.substr(tried.before.size());
        bool matches = true;
        for (const piece &part : tried.pieces) {
            const size_t end = part.behind.empty() ? rest.size() : rest.find(part.behind);
            if (end == std::string_view::npos) {
                matches = false;
                break;
            }
            if (const field token = actions[tried.action].tokens[part.token])
                names.*token = rest.substr(0, end);
            rest.remove_prefix(end + part.behind.size());
        }
        if (matches)
            return names;
    }
    return std::nullopt;
}

}  // namespace ravelo::logview
