#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tamsel::capture {

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
    JsonLine& null(std::string_view key);
    JsonLine& object(std::string_view key, const JsonLine& value);

    /// An object without an event, to be nested.
    [[nodiscard]] static JsonLine nested() { return {}; }

    [[nodiscard]] std::string string() const { return "{" + members_ + "}"; }

private:
    JsonLine() = default;

    void key(std::string_view key);

    std::string members_;
};

} // namespace tamsel::capture
