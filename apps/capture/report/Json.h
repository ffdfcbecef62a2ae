#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace tamsel::capture {

/// A value or an object whose members keep their order.
using Json = nlohmann::ordered_json;

/// An object that begins with the name of an event.
[[nodiscard]] Json event(std::string_view name, const Json& members = Json::object());

/// Null when it is absent or not finite; without a fraction when it has none.
[[nodiscard]] Json numberOf(std::optional<double> value);
/// Null when it is absent.
[[nodiscard]] Json textOf(const std::optional<std::string>& text);

/// One line (RFC 8259), with active characters escaped and U+FFFD for bytes that are not UTF-8.
[[nodiscard]] std::string lineOf(const Json& value);

} // namespace tamsel::capture
