#include "report/Utf8.h"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace tamsel::capture {

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

std::optional<char32_t> activeCharacter(std::string_view text)
{
    const std::size_t length = sequenceLength(text);
    const auto bits = [&](std::size_t index) { return static_cast<unsigned char>(text[index]) & 0x3FU; };
    char32_t character = 0;
    if (length == 1)
        character = static_cast<unsigned char>(text[0]);
    else if (length == 2)
        character = (bits(0) & 0x1FU) << 6U | bits(1);
    else if (length == 3)
        character = (bits(0) & 0xFU) << 12U | bits(1) << 6U | bits(2);
    else
        return std::nullopt;
    const auto isWithin
        = [&](char32_t first, char32_t last) { return first <= character && character <= last; };
    const bool isControl = character < 0x20 || isWithin(0x7F, 0x9F);
    const bool isSeparator = isWithin(0x2028, 0x2029);
    const bool turns = character == 0x61C || isWithin(0x200E, 0x200F) || isWithin(0x202A, 0x202E)
        || isWithin(0x2066, 0x2069);
    return isControl || isSeparator || turns ? std::optional(character) : std::nullopt;
}

std::string formatted(const char* format, ...)
{
    std::array<char, 512> text{};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    return text.data();
}

std::string printable(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        const std::optional<char32_t> active = activeCharacter(text);
        std::array<char, 16> escaped{};
        if (length == 0)
            std::snprintf(
                escaped.data(), escaped.size(), "\\x%02x", static_cast<unsigned char>(text.front()));
        else if (active)
            std::snprintf(escaped.data(), escaped.size(), "\\u%04x", static_cast<unsigned>(*active));
        result += length != 0 && !active ? text.substr(0, length) : std::string_view(escaped.data());
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result;
}

} // namespace tamsel::capture
