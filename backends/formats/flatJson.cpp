#include <formats/flatJson.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

namespace tamsel::formats {

namespace {

/// The length of the character at the beginning, at least 1; 0 when it is not UTF-8.
std::size_t lengthOfCharacter(std::string_view text)
{
    const auto first = static_cast<std::uint8_t>(text.front());
    if (first < 0x80)
        return 1;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length)
        return 0;
    const auto second = static_cast<std::uint8_t>(text[1]);
    const bool isOverlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool isOutside = (first == 0xED && second > 0x9F) || (first == 0xF4 && second > 0x8F);
    const bool continues = std::ranges::all_of(text.substr(1, length - 1),
        [](char each) { return (static_cast<std::uint8_t>(each) & 0xC0) == 0x80; });
    return continues && !isOverlong && !isOutside ? length : 0;
}

void appendEscape(std::string& text, unsigned value)
{
    constexpr std::string_view digits = "0123456789abcdef";
    text += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
        text += digits[(value >> shift) & 15];
}

void appendCharacter(std::string& text, std::uint32_t code)
{
    if (code < 0x80) {
        text += static_cast<char>(code);
        return;
    }
    const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    constexpr std::array<std::uint32_t, 4> leads{0, 0xC0, 0xE0, 0xF0};
    text += static_cast<char>(leads.at(static_cast<std::size_t>(more)) | (code >> (6 * more)));
    for (int left = more - 1; left >= 0; --left)
        text += static_cast<char>(0x80 | ((code >> (6 * left)) & 0x3F));
}

/// Reads one object; the first problem ends it.
class Parser {
public:
    explicit Parser(std::string_view text) : rest_(text) { }

    std::expected<FlatObject, std::string> parse()
    {
        FlatObject object;
        skipBlanks();
        bool isMore = take('{');
        if (!isMore)
            return std::unexpected("it is not a JSON object");
        for (skipBlanks(); isMore && !take('}'); skipBlanks()) {
            const std::optional<std::string> name = parseText();
            skipBlanks();
            if (!name || !take(':'))
                return std::unexpected("a member has no name");
            skipBlanks();
            std::variant<double, std::string> value;
            if (!parseValue(value))
                return std::unexpected("'" + *name + "' is neither a text nor a number");
            if (!object.emplace(*name, std::move(value)).second)
                return std::unexpected("'" + *name + "' is there twice");
            skipBlanks();
            if (isMore = take(','); !isMore && !take('}'))
                return std::unexpected("the object has no end");
        }
        skipBlanks();
        if (!rest_.empty())
            return std::unexpected("there is something behind the object");
        return object;
    }

private:
    void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r"), rest_.size())); }

    bool take(char expected)
    {
        if (!rest_.starts_with(expected))
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    bool parseValue(std::variant<double, std::string>& value)
    {
        if (rest_.starts_with('"')) {
            std::optional<std::string> text = parseText();
            if (text)
                value = std::move(*text);
            return text.has_value();
        }
        double number = 0;
        const auto [end, problem] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
        if (problem != std::errc{} || !std::isfinite(number))
            return false;
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        value = number;
        return true;
    }

    std::optional<std::string> parseText()
    {
        if (!take('"'))
            return std::nullopt;
        std::string text;
        while (!take('"')) {
            if (rest_.empty() || static_cast<std::uint8_t>(rest_.front()) < 0x20)
                return std::nullopt;
            if (take('\\')) {
                if (!parseEscape(text))
                    return std::nullopt;
                continue;
            }
            text += rest_.front();
            rest_.remove_prefix(1);
        }
        return text;
    }

    bool parseEscape(std::string& text)
    {
        constexpr std::string_view names = "\"\\/bfnrt";
        constexpr std::string_view values = "\"\\/\b\f\n\r\t";
        if (take('u')) {
            std::optional<std::uint32_t> code = parseHex();
            if (code && *code >= 0xDC80 && *code <= 0xDCFF) {
                text += static_cast<char>(*code & 0xFF); // a byte that is not UTF-8
                return true;
            }
            if (code && *code >= 0xD800 && *code < 0xDC00) {
                const std::optional<std::uint32_t> low = take('\\') && take('u') ? parseHex() : std::nullopt;
                if (!low || *low < 0xDC00 || *low > 0xDFFF)
                    return false;
                code = 0x10000 + ((*code - 0xD800) << 10) + (*low - 0xDC00);
            }
            if (code)
                appendCharacter(text, *code);
            return code.has_value();
        }
        const std::size_t which = rest_.empty() ? names.npos : names.find(rest_.front());
        if (which == names.npos)
            return false;
        text += values[which];
        rest_.remove_prefix(1);
        return true;
    }

    std::optional<std::uint32_t> parseHex()
    {
        std::uint32_t code = 0;
        const char* end = rest_.data() + std::min<std::size_t>(4, rest_.size());
        if (const auto [last, problem] = std::from_chars(rest_.data(), end, code, 16);
            problem != std::errc{} || last != rest_.data() + 4)
            return std::nullopt;
        rest_.remove_prefix(4);
        return code;
    }

    std::string_view rest_;
};

} // namespace

std::string jsonText(std::string_view text)
{
    std::string json = "\"";
    while (!text.empty()) {
        const std::size_t length = lengthOfCharacter(text);
        const char first = text.front();
        if (length == 0)
            appendEscape(json, 0xDC00U | static_cast<std::uint8_t>(first));
        else if (first == '"' || first == '\\')
            json.append({'\\', first});
        else if (static_cast<std::uint8_t>(first) < 0x20)
            appendEscape(json, static_cast<std::uint8_t>(first));
        else
            json += text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(1, length));
    }
    return json + '"';
}

std::string jsonNumber(double number)
{
    constexpr double exact = 9007199254740992; // 2^53
    std::array<char, 32> digits{};
    const auto write = [&](auto value) {
        return std::string(
            digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
    };
    if (std::abs(number) < exact && number == std::trunc(number))
        return write(static_cast<std::int64_t>(number));
    constexpr double largest = std::numeric_limits<double>::max();
    return write(std::clamp(number, -largest, largest));
}

std::expected<FlatObject, std::string> parseFlatObject(std::string_view text)
{
    return Parser(text).parse();
}

} // namespace tamsel::formats
