#include "report/Json.h"

#include "report/Utf8.h"

#include <cmath>
#include <cstdint>

namespace tamsel::capture {

Json event(std::string_view name, const Json& members)
{
    Json object{{"event", name}};
    object.update(members);
    return object;
}

Json numberOf(std::optional<double> value)
{
    constexpr double greatestWhole = 9e15; // below 2^53
    if (!value || !std::isfinite(*value))
        return nullptr;
    if (*value == std::trunc(*value) && std::abs(*value) < greatestWhole)
        return static_cast<std::int64_t>(*value);
    return *value;
}

Json textOf(const std::optional<std::string>& text)
{
    return text ? Json(*text) : Json(nullptr);
}

std::string lineOf(const Json& value)
{
    // With an indentation of 0 each member has its own line; line breaks in a text are escaped.
    const std::string lines = value.dump(0, ' ', false, Json::error_handler_t::replace);
    std::string line;
    for (const char character : lines) {
        if (character != '\n')
            line += character;
        else if (line.ends_with(','))
            line += ' ';
    }
    return printable(line);
}

} // namespace tamsel::capture
