// The library's catalogs: which there are, for which languages, and where they lie.
//
// They are looked for in the folder "locale" beside the library and then in the locale folder of
// the installation. The user's languages come first, as LANGUAGE, LC_ALL, LC_MESSAGES and LANG say,
// then the default one, English.
#pragma once

#include <cstdint>
#include <string_view>

namespace dbm {

// The daemon's messages, the manager's, and the words for the codes in both. The words have no
// English catalog: dbm/code_words.h is it.
enum class catalog_name : uint8_t { daemon, manager, words };

// Which catalog a file name means. False: none that the library knows.
[[nodiscard]] bool catalog_of(std::string_view file_name, catalog_name &which);

// The text of a message in the first language that has one; empty when none has. The text lives
// until forget_catalogs. The catalogs are read at the first call. May throw bad_alloc.
[[nodiscard]] std::string_view catalog_message(catalog_name which, uint32_t number);

// Lets the next call look for the languages and read the catalogs anew.
void forget_catalogs() noexcept;

}  // namespace dbm
