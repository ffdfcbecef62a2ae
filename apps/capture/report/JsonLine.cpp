#include "report/JsonLine.h"

#include "report/Utf8.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace tamsel::capture {

namespace {

std::string formatted(double value)
{
    if (!std::isfinite(value))
        return "null";
    std::array<char, 40> digits{};
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr};
}

std::string formatted(std::span<const double> values)
{
    std::string list = "[";
    for (std::size_t index = 0; index < values.size(); ++index)
        list += (index == 0 ? "" : ", ") + formatted(values[index]);
    return list + ']';
}

} // namespace

std::string jsonText(std::string_view text)
{
    std::string result = "\"";
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        if (length == 0) {
            result += "\\ufffd";
        } else if (const auto active = activeCharacter(text)) {
            std::array<char, 16> escaped{};
            std::snprintf(escaped.data(), escaped.size(), "\\u%04x", static_cast<unsigned>(*active));
            result += escaped.data();
        } else if (text.front() == '"' || text.front() == '\\') {
            result += {'\\', text.front()};
        } else {
            result += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result + '"';
}

void JsonLine::key(std::string_view key)
{
    if (!members_.empty())
        members_ += ", ";
    members_ += jsonText(key) + ": ";
}

JsonLine& JsonLine::text(std::string_view name, std::string_view value)
{
    key(name);
    members_ += jsonText(value);
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
    members_ += formatted(values);
    return *this;
}

JsonLine& JsonLine::pairs(std::string_view name, std::span<const std::array<double, 2>> values)
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

JsonLine& JsonLine::objects(std::string_view name, std::span<const JsonLine> values)
{
    key(name);
    members_ += '[';
    for (std::size_t index = 0; index < values.size(); ++index)
        members_ += (index == 0 ? "" : ", ") + values[index].string();
    members_ += ']';
    return *this;
}

} // namespace tamsel::capture
