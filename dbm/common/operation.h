// The operations of the library, as traces, journals and scripted outcomes name them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace dbm {

enum class operation : uint8_t {
    init,
    authinfo,
    instance_path,
    set_client,
    attach,
    detach,
    switches,
    size,
    snapshot,
    force,
    priority,
    prepare,
    text,
    to_upper,  // the one that can't be scripted: it has no result
};

constexpr std::array<std::string_view, 14> operation_names = {
    "init", "authinfo", "instance_path", "set_client", "attach",  "detach", "switches",
    "size", "snapshot", "force",         "priority",   "prepare", "text",   "to_upper"};

[[nodiscard]] constexpr std::string_view name_of(operation which) {
    return operation_names[static_cast<size_t>(which)];
}

// The operation of that name; none for an unknown name or one that can't be scripted.
[[nodiscard]] constexpr std::optional<operation> scriptable_operation(std::string_view name) {
    for (size_t i = 0; i < static_cast<size_t>(operation::to_upper); ++i) {
        if (operation_names[i] == name)
            return static_cast<operation>(i);
    }
    return std::nullopt;
}

}  // namespace dbm
