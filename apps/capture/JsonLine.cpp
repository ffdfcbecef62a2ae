#include "JsonLine.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace tamsel::capture {

namespace {

/// The length of the well-formed UTF-8 sequence (RFC 3629) at the start of `text`; 0 when there is none.
std::size_t sequenceLength(std::string_view text)
{
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char first = byte(0);
    const std::size_t length = first < 0x80 ? 1
        : first >= 0xC2 && first <= 0xDF    ? 2
        : first >= 0xE0 && first <= 0xEF    ? 3
        : first >= 0xF0 && first <= 0xF4    ? 4
                                            : 0;
    if (length == 0 || length > text.size())
        return 0;
    for (std::size_t index = 1; index < length; ++index) {
        if ((byte(index) & 0xC0U) != 0x80)
            return 0;
    }
    if (length > 2) {
        const unsigned char second = byte(1);
        if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F)
            || (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F))
            return 0;
    }
    return length;
}

std::string quoted(std::string_view text)
{
    std::string result = "\"";
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        const auto code = static_cast<unsigned char>(text.front());
        if (length == 0) {
            result += "\\ufffd";
        } else if (code < 0x20 || code == '"' || code == '\\') {
            std::array<char, 8> escaped{};
            std::snprintf(escaped.data(), escaped.size(), "\\u%04x", code);
            result += escaped.data();
        } else {
            result += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result + '"';
}

std::string formatted(double value)
{
    if (!std::isfinite(value))
        return "null";
    std::array<char, 40> digits{};
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr};
}

} // namespace

void JsonLine::key(std::string_view key)
{
    if (!members_.empty())
        members_ += ", ";
    members_ += quoted(key) + ": ";
}

JsonLine& JsonLine::text(std::string_view name, std::string_view value)
{
    key(name);
    members_ += quoted(value);
    return *this;
}

JsonLine& JsonLine::text(std::string_view name, const std::optional<std::string>& value)
{
    return value ? text(name, std::string_view(*value)) : null(name);
}

JsonLine& JsonLine::boolean(std::string_view name, bool value)
{
    key(name);
    members_ += value ? "true" : "false";
    return *this;
}

JsonLine& JsonLine::integer(std::string_view name, std::uint64_t value)
{
    key(name);
    members_ += std::to_string(value);
    return *this;
}

JsonLine& JsonLine::number(std::string_view name, std::optional<double> value)
{
    key(name);
    members_ += value ? formatted(*value) : "null";
    return *this;
}

JsonLine& JsonLine::numbers(std::string_view name, std::span<const double> values)
{
    key(name);
    members_ += '[';
    for (std::size_t index = 0; index < values.size(); ++index)
        members_ += (index == 0 ? "" : ", ") + formatted(values[index]);
    members_ += ']';
    return *this;
}

JsonLine& JsonLine::null(std::string_view name)
{
    key(name);
    members_ += "null";
    return *this;
}

JsonLine& JsonLine::object(std::string_view name, const JsonLine& value)
{
    key(name);
    members_ += value.string();
    return *this;
}

} // namespace tamsel::capture
