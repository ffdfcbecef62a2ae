#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tamsel::capture {

/// The text as a JSON string: it contains no active character as such, and U+FFFD for each byte that is no UTF-8.
[[nodiscard]] std::string jsonText(std::string_view text);

/// Builds one JSON object (RFC 8259) in one line.
class JsonLine {
public:
    explicit JsonLine(std::string_view event) { text("event", event); }

    JsonLine& text(std::string_view key, std::string_view value);
    /// Null when absent.
    JsonLine& text(std::string_view key, const std::optional<std::string>& value);
    JsonLine& boolean(std::string_view key, bool value);
    JsonLine& integer(std::string_view key, std::uint64_t value);
    /// With the fewest digits that give the same number back; null when not finite or absent.
    JsonLine& number(std::string_view key, std::optional<double> value);
    JsonLine& numbers(std::string_view key, std::span<const double> values);
    JsonLine& pairs(std::string_view key, std::span<const std::array<double, 2>> values);
    JsonLine& null(std::string_view key);
    JsonLine& object(std::string_view key, const JsonLine& value);
    JsonLine& objects(std::string_view key, std::span<const JsonLine> values);

    /// An object without an event, to be nested.
    [[nodiscard]] static JsonLine nested() { return {}; }

    [[nodiscard]] std::string string() const { return "{" + members_ + "}"; }

private:
    JsonLine() = default;

    void key(std::string_view key);

    std::string members_;
};

} // namespace tamsel::capture
