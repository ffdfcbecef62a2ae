#pragma once

#include <tamsel/facade/TamselSourceManagerProtocol.h>

#include <optional>
#include <string>

namespace tamsel {

/// The value of a key; absent when there is none, or when it is not a `double`.
[[nodiscard]] inline std::optional<double> doubleFor(
    const std::string& key, const Configurations& configurations)
{
    const auto found = configurations.find(key);
    if (found == configurations.end())
        return std::nullopt;
    const auto* value = std::any_cast<double>(&found->second);
    return value ? std::optional(*value) : std::nullopt;
}

} // namespace tamsel
