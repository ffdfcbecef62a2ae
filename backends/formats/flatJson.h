#pragma once

#include <expected>
#include <map>
#include <string>
#include <string_view>
#include <variant>

namespace tamsel::formats {

/// A text in quotes. A byte that is not part of UTF-8 becomes the escape \udcXX, which `parseFlatObject` reads as that
/// byte.
[[nodiscard]] std::string jsonText(std::string_view text);
/// The shortest text of a number; a number too large for it becomes the largest. NaN has none.
[[nodiscard]] std::string jsonNumber(double number);

/// The members of an object whose values are texts and numbers.
using FlatObject = std::map<std::string, std::variant<double, std::string>, std::less<>>;

/// Strict: one object, nothing behind it, no value of another kind, no name twice. The error says what is wrong.
[[nodiscard]] std::expected<FlatObject, std::string> parseFlatObject(std::string_view text);

} // namespace tamsel::formats
