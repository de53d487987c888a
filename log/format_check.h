// Catalog texts that are used as printf formats: checked first, since they come from outside.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace ravelo {

enum class conversion { text, integer };

// Whether format holds exactly count conversions, all of the given kind ("%s"; "%d" or "%i"), each
// with the flags that are defined for it, width and precision of at most three digits or none, and
// otherwise nothing but "%%". No length modifiers, no "*", no positions.
[[nodiscard]] bool has_conversions(std::string_view format, conversion kind, size_t count);

// Formats into field with a format that has_conversions accepted;
// the result is cut to the field. Results: false when the format could not be carried out.
[[nodiscard]] bool format_with_text(std::span<char> field, const char *format,
                                    const char *argument);

// The same with integers; more than most_integers are refused.
constexpr size_t most_integers = 16;
[[nodiscard]] bool format_with_integers(std::span<char> field, const char *format,
                                        std::span<const int32_t> values);

}  // namespace ravelo
