#include "tools/log/options.h"

#include <algorithm>
#include <cstdio>
#include <fnmatch.h>
#include <getopt.h>

#include "dbm/common/text.h"
#include "tools/log/civil_time.h"

namespace ravelo::logview {
namespace {

constexpr const char *usage =
    R"(Usage: ravelo-log [options] FILE...
Reads governor logs, also rotated and compressed ones, in the order of time.
A FILE "-" is standard input.

Which records:
  -t, --type LIST         of these types: FORCE,NICE
      --since TIME        from TIME on: "2026-11-22 08:00", 08:00 (today), -2h
      --until TIME        before TIME
  -u, --authid LIST       of these authorization ids (* and ? are wildcards)
  -a, --application LIST  of these applications (* and ? are wildcards)
  -r, --rule LIST         by the rules on these lines of the rule file
  -l, --location LIST     errors and warnings with these locations

How they are shown:
      --json              an object a line
      --html              a page with charts
      --rows NUMBER       most records listed in the page: 1000
      --width NUMBER      columns of the table; 0: as many as needed
      --color WHEN        auto, always or never
  -h, --help              show this
  -V, --version           show the version
)";

enum long_only {
    since_option = 256,
    until_option,
    json_option,
    html_option,
    rows_option,
    width_option,
    color_option
};

const option known_options[] = {{"type", required_argument, nullptr, 't'},
                                {"since", required_argument, nullptr, since_option},
                                {"until", required_argument, nullptr, until_option},
                                {"authid", required_argument, nullptr, 'u'},
                                {"application", required_argument, nullptr, 'a'},
                                {"rule", required_argument, nullptr, 'r'},
                                {"location", required_argument, nullptr, 'l'},
                                {"json", no_argument, nullptr, json_option},
                                {"html", no_argument, nullptr, html_option},
                                {"rows", required_argument, nullptr, rows_option},
                                {"width", required_argument, nullptr, width_option},
                                {"color", required_argument, nullptr, color_option},
                                {"help", no_argument, nullptr, 'h'},
                                {"version", no_argument, nullptr, 'V'},
                                {nullptr, 0, nullptr, 0}};

std::vector<std::string> words_of(std::string_view list, bool in_upper_case) {
    std::vector<std::string> words;
    while (!list.empty()) {
        const size_t comma = std::min(list.find(','), list.size());
        if (comma != 0)
            words.push_back(in_upper_case ? dbm::upper_case(list.substr(0, comma))
                                          : std::string(list.substr(0, comma)));
        list.remove_prefix(std::min(comma + 1, list.size()));
    }
    return words;
}

bool read_words(const char *list, bool in_upper_case, std::vector<std::string> &words) {
    words = words_of(list, in_upper_case);
    return !words.empty();
}

bool read_numbers(const char *list, std::vector<int32_t> &numbers) {
    for (const std::string &word : words_of(list, false)) {
        const auto number = dbm::number_in<int32_t>(word);
        if (!number)
            return false;
        numbers.push_back(*number);
    }
    return !numbers.empty();
}

bool read_number(const char *word, size_t highest, size_t &number) {
    const auto value = dbm::number_in<size_t>(word, 0, highest);
    number = value.value_or(0);
    return value.has_value();
}

bool read_moment(const char *word, std::optional<int64_t> &moment) {
    moment = parse_moment(word, local_now());
    return moment.has_value();
}

bool read_colour(std::string_view word, colour &when) {
    when = word == "always" ? colour::always : word == "never" ? colour::never : colour::automatic;
    return when != colour::automatic || word == "auto";
}

// Takes over one option. False: its argument is wrong.
bool apply_option(int letter, const char *argument, options &read) {
    filter &wanted = read.wanted;
    switch (letter) {
        case 't':
            return read_words(argument, true, wanted.types);
        case 'u':
            return read_words(argument, true, wanted.authids);
        case 'a':
            return read_words(argument, false, wanted.applications);
        case 'r':
            return read_numbers(argument, wanted.rules);
        case 'l':
            return read_numbers(argument, wanted.locations);
        case since_option:
            return read_moment(argument, wanted.since);
        case until_option:
            return read_moment(argument, wanted.until);
        case rows_option:
            return read_number(argument, 1'000'000, read.page_rows);
        case width_option:
            return read_number(argument, 10'000, read.width) &&
                   (read.width = read.width == 0 ? SIZE_MAX : read.width) >= 20;
        case color_option:
            return read_colour(argument, read.colours);
        case json_option:
            read.output = form::json;
            return true;
        default:
            read.output = form::html;
            return true;
    }
}

bool selects(int letter) {
    return letter == since_option || letter == until_option ||
           std::string_view("tuarl").find(static_cast<char>(letter)) != std::string_view::npos;
}

parsed wrong_usage(const char *what, const char *detail) {
    (void)std::fprintf(stderr, "ravelo-log: %s%s\n", what, detail);
    (void)std::fputs("Try 'ravelo-log --help'.\n", stderr);
    return parsed::wrong;
}

const char *name_of(int letter) {
    return std::find_if(std::begin(known_options), std::end(known_options) - 1,
                        [letter](const option &known) { return known.val == letter; })
        ->name;
}

template <class Number>
bool among(const std::vector<Number> &list, const std::optional<Number> &value) {
    return list.empty() || (value && std::find(list.begin(), list.end(), *value) != list.end());
}

// The texts end in no NUL of their own.
bool matches(const std::vector<std::string> &patterns, const std::string &text) {
    return !text.empty() && std::any_of(patterns.begin(), patterns.end(), [&](const auto &pattern) {
        return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
    });
}

}  // namespace

bool filter::passes(const record &read) const {
    if (!types.empty() && std::find(types.begin(), types.end(), read.type) == types.end())
        return false;
    if ((since && (!read.time || *read.time < *since)) ||
        (until && (!read.time || *read.time >= *until)))
        return false;
    return among(rules, read.rule) && among(locations, read.location) &&
           (authids.empty() || matches(authids, dbm::upper_case(read.authid))) &&
           (applications.empty() || matches(applications, std::string(read.application)));
}

parsed parse_options(int count, char **words, options &read) {
    int letter = 0;
    while ((letter = getopt_long(count, words, "t:u:a:r:l:hV", known_options, nullptr)) != -1) {
        if (letter == '?')
            return wrong_usage("", "this can't be done.");
        if (letter == 'h' || letter == 'V') {
            (void)std::fputs(letter == 'h' ? usage : "ravelo-log " RAVELO_VERSION "\n", stdout);
            return parsed::done;
        }
        const std::string name = name_of(letter);
        if (!apply_option(letter, optarg, read))
            return wrong_usage(("--" + name + ": ").c_str(), optarg);
        if (selects(letter))
            read.wanted_words += (read.wanted_words.empty() ? "" : ", ") + name + " " + optarg;
    }
    read.files.assign(words + optind, words + count);
    if (read.files.empty())
        return wrong_usage("name a log file, or - for standard input.", "");
    if (std::count(read.files.begin(), read.files.end(), "-") > 1)
        return wrong_usage("standard input can be read only once.", "");
    return parsed::run;
}

}  // namespace ravelo::logview
