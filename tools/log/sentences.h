// The sentences in which the log tells of actions, in every language that there is a catalog for:
// so a log can be read whatever language the daemon spoke.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravelo::logview {

// What a sentence names; the texts lie in it.
struct action_names {
    std::string_view application{}, authid{}, application_id{}, rule{}, priority{}, reason{};
};

class sentences {
  public:
    // Reads the catalogs of all languages in a locale folder. Returns whether there was one with
    // such a sentence. Those of an earlier folder are kept.
    bool add_folder(const std::string &folder);

    // Finds the names in the text of a FORCE, NICE or SCHEDGRP record. None: no language has such a
    // sentence.
    [[nodiscard]] std::optional<action_names> names_in(std::string_view type,
                                                       std::string_view text) const;

  private:
    // A sentence: the text before its first token, then each token with the text behind it.
    struct piece {
        size_t token;
        std::string behind;
    };
    struct sentence {
        size_t action;  // place in the table of actions
        std::string before;
        std::vector<piece> pieces;
    };
    [[nodiscard]] static std::optional<sentence> parse_sentence(size_t action,
                                                                std::string_view text);

    std::vector<sentence> known_;
};

}  // namespace ravelo::logview
