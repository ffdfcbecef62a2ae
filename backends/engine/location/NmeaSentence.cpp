#include <engine/location/NmeaSentence.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

namespace tamsel::engine {

namespace {

constexpr std::size_t longestSentence = 1024; // the standard has 82 characters; some makers do not keep to it

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool isUpper(char character)
{
    return character >= 'A' && character <= 'Z';
}

bool prints(char character)
{
    return character >= ' ' && character <= '~';
}

/// What stands between '$' and the checksum, if that is right.
std::optional<std::string_view> checked(std::string_view text)
{
    text.remove_prefix(1);
    const std::size_t star = text.find('*');
    const std::string_view body = text.substr(0, star);
    if (!std::ranges::all_of(body, prints))
        return std::nullopt;
    if (star == std::string_view::npos)
        return body;
    std::uint8_t given = 0;
    const std::string_view digits = text.substr(star + 1, 2);
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), given, 16);
    if (digits.size() != 2 || result.ec != std::errc{} || result.ptr != digits.data() + digits.size())
        return std::nullopt;
    std::uint8_t sum = 0;
    for (const char character : body)
        sum = static_cast<std::uint8_t>(sum ^ static_cast<std::uint8_t>(character));
    return sum == given ? std::optional(body) : std::nullopt;
}

} // namespace

std::optional<NmeaSentence> NmeaSentence::parse(std::string_view text)
{
    if (!text.starts_with('$'))
        return std::nullopt;
    const auto body = checked(text);
    if (!body)
        return std::nullopt;
    const std::string_view address = body->substr(0, body->find(','));
    const bool isMakersOwn = address.starts_with('P');
    const bool isAddress = std::ranges::all_of(
        address, [](char character) { return isUpper(character) || isDigit(character); });
    if (!isAddress || address.size() == body->size() || address.size() < 4 || !isUpper(address.front())
        || (!isMakersOwn && address.size() != 5))
        return std::nullopt;
    NmeaSentence sentence;
    if (!isMakersOwn)
        sentence.type_ = address.substr(2);
    for (std::size_t at = address.size(); at < body->size();) {
        const std::size_t end = std::min(body->find(',', at + 1), body->size());
        sentence.fields_.emplace_back(body->substr(at + 1, end - at - 1));
        at = end;
    }
    return sentence;
}

std::string_view NmeaSentence::field(std::size_t number) const
{
    return number == 0 || number > fields_.size() ? std::string_view{} : fields_[number - 1];
}

std::optional<double> NmeaSentence::number(std::size_t number) const
{
    std::string_view text = field(number);
    const std::string_view digits = text.substr(text.starts_with('+') || text.starts_with('-') ? 1 : 0);
    if (text.starts_with('+'))
        text = digits;
    const bool isPlain
        = std::ranges::all_of(digits, [](char character) { return isDigit(character) || character == '.'; });
    double value = 0;
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const auto result = std::from_chars(begin, end, value, std::chars_format::fixed);
    if (!isPlain || result.ec != std::errc{} || result.ptr != end)
        return std::nullopt;
    return value;
}

void forEachNmeaSentence(std::istream& stream, const std::function<void(const NmeaSentence&)>& take)
{
    std::string text; // begins with '$', or is empty while nothing of interest comes
    const auto finish = [&] {
        if (const auto sentence = NmeaSentence::parse(text))
            take(*sentence);
        text.clear();
    };
    std::array<char, 4096> buffer{};
    while (stream) {
        stream.read(buffer.data(), buffer.size());
        for (const char character :
            std::string_view(buffer.data(), static_cast<std::size_t>(stream.gcount()))) {
            if (character == '$' || character == '\r' || character == '\n' || character == '\0')
                finish();
            if (character == '$' || (!text.empty() && text.size() < longestSentence))
                text += character;
            else
                text.clear();
        }
    }
    finish();
}

} // namespace tamsel::engine
