#include "dbm/catalogs.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <dlfcn.h>
#include <string>
#include <utility>
#include <vector>

#include "dbm/common/catalog.h"
#include "dbm/common/files.h"
#include "govern/interface/constants.h"

namespace dbm {

namespace {

constexpr std::array<const char *, 3> file_names = {dbm_daemon_catalog, dbm_manager_catalog,
                                                    "words.mo"};
constexpr std::string_view default_language = "en";
constexpr size_t most_languages = 16;

struct loaded_catalogs {
    bool loaded = false;
    std::array<std::vector<catalog>, file_names.size()> by_name;  // in the order they are searched
};
loaded_catalogs catalogs;

std::string_view environment(const char *name) {
    const char *const value = std::getenv(name);
    return value != nullptr ? value : "";
}

bool is_language_character(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
}

void add_language(std::vector<std::string> &languages, std::string_view language) {
    if (language.empty() || languages.size() == most_languages)
        return;
    // The name becomes part of a path, so nothing but plain names is let through.
    if (!std::all_of(language.begin(), language.end(), is_language_character))
        return;
    if (std::find(languages.begin(), languages.end(), language) == languages.end())
        languages.emplace_back(language);
}

// Adds a locale's names: de_DE.UTF-8@euro gives de_DE and de.
void add_locale(std::vector<std::string> &languages, std::string_view locale) {
    const std::string_view name = locale.substr(0, locale.find_first_of(".@"));
    add_language(languages, name);
    add_language(languages, name.substr(0, name.find('_')));
}

std::vector<std::string> user_languages() {
    std::vector<std::string> languages;
    std::string_view locale;
    for (const char *const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (locale.empty())
            locale = environment(name);
    }
    const std::string_view plain = locale.substr(0, locale.find_first_of(".@"));
    if (!plain.empty() && plain != "C" && plain != "POSIX") {
        std::string_view list = environment("LANGUAGE");
        while (!list.empty()) {
            const size_t colon = list.find(':');
            add_locale(languages, list.substr(0, colon));
            list = colon == std::string_view::npos ? "" : list.substr(colon + 1);
        }
        add_locale(languages, locale);
    }
    if (std::find(languages.begin(), languages.end(), default_language) == languages.end())
        languages.emplace_back(default_language);
    return languages;
}

// The folder that holds the library, empty when the loader does not say.
std::string library_folder() {
    Dl_info info = {};
    if (dladdr(&catalogs, &info) == 0 || info.dli_fname == nullptr)
        return {};
    std::string path = info.dli_fname;
    std::string resolved;
    if (resolve_path(path, resolved) == 0)
        path = std::move(resolved);
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

std::string catalog_path(const std::string &root, const std::string &language,
                         std::string_view file_name) {
    std::string path = root;
    path += '/';
    path += language;
    path += "/LC_MESSAGES/";
    path += file_name;
    return path;
}

void load_catalogs() {
    const std::string folder = library_folder();
    const std::array<std::string, 2> roots = {folder + "/locale",
                                              folder + "/" + DBM_LOCALE_FROM_LIB};
    loaded_catalogs fresh;
    for (const std::string &language : user_languages()) {
        for (size_t name = 0; name < file_names.size(); ++name) {
            catalog read;
            if (read_catalog(catalog_path(roots[0], language, file_names[name]), read) ||
                read_catalog(catalog_path(roots[1], language, file_names[name]), read))
                fresh.by_name[name].push_back(std::move(read));
        }
    }
    fresh.loaded = true;
    catalogs = std::move(fresh);
}

}  // namespace

bool catalog_of(std::string_view file_name, catalog_name &which) {
    const auto *const found = std::find(file_names.begin(), file_names.end(), file_name);
    if (found == file_names.end())
        return false;
    which = static_cast<catalog_name>(found - file_names.begin());
    return true;
}

std::string_view catalog_message(catalog_name which, uint32_t number) {
    if (!catalogs.loaded)
        load_catalogs();
    for (const catalog &where : catalogs.by_name[static_cast<size_t>(which)]) {
        const std::string_view text = find_text(where, number);
        if (!text.empty())
            return text;
    }
    return {};
}

void forget_catalogs() noexcept {
    catalogs = loaded_catalogs{};
}

}  // namespace dbm
