#include <formats/exifValues.h>

#include <formats/exifNumbers.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace tamsel::formats {

using platform::PropertyValue;

namespace {

constexpr std::size_t longestText = 1 << 20;
constexpr std::size_t longestList = 64;
constexpr std::size_t versionSize = 4;

bool isDigits(std::string_view text)
{
    return text.size() == versionSize
        && std::ranges::all_of(text, [](char character) { return character >= '0' && character <= '9'; });
}

std::string textOf(ByteView bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string untilNull(std::string text)
{
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

std::optional<PropertyValue> readText(ExifForm form, ByteView bytes, TiffType type)
{
    if (sizeOf(type) != 1 || type == TiffType::signedByte || bytes.size() > longestText)
        return std::nullopt;
    if (form == ExifForm::bytes)
        return PropertyValue::Bytes(bytes.begin(), bytes.end());
    std::string text = textOf(bytes);
    if (form == ExifForm::text)
        return untilNull(std::move(text));
    if (!isDigits(text))
        return std::nullopt;
    return text;
}

std::int64_t wholeNumber(ByteView bytes, TiffType type, ByteOrder order)
{
    switch (type) {
    case TiffType::signedByte:
        return static_cast<std::int8_t>(bytes[0]);
    case TiffType::shortInteger:
        return number16(bytes, 0, order);
    case TiffType::signedShort:
        return static_cast<std::int16_t>(number16(bytes, 0, order));
    case TiffType::longInteger:
        return number32(bytes, 0, order);
    case TiffType::signedLong:
        return static_cast<std::int32_t>(number32(bytes, 0, order));
    default:
        return std::to_integer<std::int64_t>(bytes[0]);
    }
}

bool isWhole(TiffType type)
{
    using enum TiffType;
    return type == byte || type == shortInteger || type == longInteger || type == signedByte
        || type == signedShort || type == signedLong;
}

double realNumber(ByteView bytes, TiffType type, ByteOrder order)
{
    if (isWhole(type))
        return static_cast<double>(wholeNumber(bytes, type, order));
    const std::uint32_t first = number32(bytes, 0, order);
    if (type == TiffType::real32)
        return std::bit_cast<float>(first);
    const std::uint32_t second = number32(bytes, 4, order);
    if (type == TiffType::real64) {
        const bool isBig = order == ByteOrder::big;
        const std::uint64_t high = isBig ? first : second;
        return std::bit_cast<double>(high << 32U | (isBig ? second : first));
    }
    if (second == 0)
        return std::numeric_limits<double>::quiet_NaN();
    if (type == TiffType::signedRational)
        return static_cast<double>(static_cast<std::int32_t>(first)) / static_cast<std::int32_t>(second);
    return static_cast<double>(first) / second;
}

/// Empty when there are too many or they are not numbers.
std::vector<double> realNumbers(ByteView bytes, TiffType type, ByteOrder order)
{
    std::vector<double> result;
    const std::size_t size = sizeOf(type);
    if ((size == 1 && !isWhole(type)) || bytes.size() / size > longestList)
        return result;
    for (std::size_t at = 0; at < bytes.size(); at += size)
        result.push_back(realNumber(bytes.subspan(at, size), type, order));
    return result;
}

std::optional<PropertyValue> readNumbers(const ExifTag& tag, ByteView bytes, TiffType type, ByteOrder order)
{
    const bool isReal = tag.form == ExifForm::rational || tag.form == ExifForm::signedRational;
    PropertyValue::List list;
    for (const double number : realNumbers(bytes, type, order)) {
        if (!std::isfinite(number) || (!isReal && !isWhole(type)))
            return std::nullopt;
        if (isReal)
            list.emplace_back(number);
        else
            list.emplace_back(static_cast<std::int64_t>(number));
    }
    if (list.empty())
        return std::nullopt;
    if (list.size() == 1 && tag.count == 1)
        return list.front();
    return list;
}

std::optional<PropertyValue> readTriple(ExifForm form, ByteView bytes, TiffType type, ByteOrder order)
{
    const std::vector<double> numbers = realNumbers(bytes, type, order);
    if (numbers.empty() || numbers.size() > 3)
        return std::nullopt;
    Triple triple{};
    std::ranges::copy(numbers, triple.begin());
    // Minutes and seconds of 0/0 are the usual form of omitted ones.
    for (std::size_t index = 1; index < triple.size(); ++index) {
        if (std::isnan(triple[index]))
            triple[index] = 0;
    }
    if (form == ExifForm::clock) {
        const auto text = clockText(triple);
        return text ? std::optional<PropertyValue>(*text) : std::nullopt;
    }
    const double degrees = triple[0] + triple[1] / 60 + triple[2] / 3600;
    return std::isfinite(degrees) ? std::optional<PropertyValue>(degrees) : std::nullopt;
}

} // namespace

std::optional<PropertyValue> readValue(const ExifTag& tag, const TiffBlock& block, const TiffEntry& entry)
{
    const auto bytes = block.value(entry);
    if (!bytes)
        return std::nullopt;
    switch (tag.form) {
    case ExifForm::text:
    case ExifForm::bytes:
    case ExifForm::version:
        return readText(tag.form, *bytes, entry.type);
    case ExifForm::coordinate:
    case ExifForm::clock:
        return readTriple(tag.form, *bytes, entry.type, block.order());
    default:
        return readNumbers(tag, *bytes, entry.type, block.order());
    }
}

namespace {

constexpr double largestUnsigned = std::numeric_limits<std::uint32_t>::max();
constexpr double largestSigned = std::numeric_limits<std::int32_t>::max();

struct Range {
    double lowest = 0;
    double highest = 0;
};

Range rangeOf(const ExifTag& tag)
{
    if (tag.tag == tiffTag::orientation)
        return {1, 8};
    switch (tag.form) {
    case ExifForm::byte:
        return {0, std::numeric_limits<std::uint8_t>::max()};
    case ExifForm::shortInteger:
        return {0, std::numeric_limits<std::uint16_t>::max()};
    case ExifForm::signedRational:
        return {-largestSigned, largestSigned};
    default:
        return {0, largestUnsigned};
    }
}

std::optional<PropertyValue> numberFor(const ExifTag& tag, const PropertyValue& value)
{
    const bool isReal = tag.form == ExifForm::rational || tag.form == ExifForm::signedRational;
    const auto number = value.number();
    const Range range = rangeOf(tag);
    if (!number || (!isReal && !value.integer()) || !(*number >= range.lowest && *number <= range.highest))
        return std::nullopt;
    if (isReal)
        return PropertyValue(*number);
    return value;
}

std::optional<PropertyValue> numbersFor(const ExifTag& tag, const PropertyValue& value)
{
    PropertyValue::List list;
    for (const PropertyValue& element : value.list() ? *value.list() : PropertyValue::List{value}) {
        auto number = numberFor(tag, element);
        if (!number)
            return std::nullopt;
        list.push_back(std::move(*number));
    }
    if (list.empty() || list.size() > longestList || (tag.count != 0 && list.size() != tag.count))
        return std::nullopt;
    if (tag.count == 1)
        return list.front();
    return list;
}

std::optional<PropertyValue> textFor(const ExifTag& tag, const PropertyValue& value)
{
    const std::string* text = value.text();
    if (!text || text->size() >= longestText)
        return std::nullopt;
    if (tag.form == ExifForm::text)
        return PropertyValue(untilNull(*text));
    const bool isTaken = tag.form == ExifForm::version ? isDigits(*text) : clockFrom(*text).has_value();
    return isTaken ? std::optional(value) : std::nullopt;
}

} // namespace

std::optional<PropertyValue> valueFor(const ExifTag& tag, const PropertyValue& value)
{
    switch (tag.form) {
    case ExifForm::text:
    case ExifForm::version:
    case ExifForm::clock:
        return textFor(tag, value);
    case ExifForm::bytes: {
        const PropertyValue::Bytes* bytes = value.bytes();
        const bool isTaken = bytes && !bytes->empty() && bytes->size() <= longestText
            && (tag.count == 0 || bytes->size() == tag.count);
        return isTaken ? std::optional(value) : std::nullopt;
    }
    case ExifForm::coordinate: {
        const auto degrees = value.number();
        if (!degrees || !(std::abs(*degrees) <= 180))
            return std::nullopt;
        return PropertyValue(std::abs(*degrees));
    }
    default:
        return numbersFor(tag, value);
    }
}

namespace {

void appendFractions(TiffValue& result, std::span<const Fraction> fractions, ByteOrder order)
{
    for (const Fraction& fraction : fractions) {
        appendNumber(result.bytes, fraction.numerator, 4, order);
        appendNumber(result.bytes, fraction.denominator, 4, order);
    }
}

TiffType typeFor(ExifForm form, const PropertyValue::List& list)
{
    switch (form) {
    case ExifForm::byte:
        return TiffType::byte;
    case ExifForm::shortInteger:
        return TiffType::shortInteger;
    case ExifForm::rational:
        return TiffType::rational;
    case ExifForm::signedRational:
        return TiffType::signedRational;
    case ExifForm::size: {
        const bool isSmall = std::ranges::all_of(list, [](const PropertyValue& element) {
            return *element.integer() <= std::numeric_limits<std::uint16_t>::max();
        });
        return isSmall ? TiffType::shortInteger : TiffType::longInteger;
    }
    default:
        return TiffType::longInteger;
    }
}

TiffValue encodeNumbers(ExifForm form, const PropertyValue::List& list, ByteOrder order)
{
    TiffValue result{
        .type = typeFor(form, list), .count = static_cast<std::uint32_t>(list.size()), .bytes = {}};
    for (const PropertyValue& element : list) {
        if (const std::int64_t* whole = element.integer()) {
            appendNumber(result.bytes, static_cast<std::uint64_t>(*whole), sizeOf(result.type), order);
            continue;
        }
        const double real = *element.real();
        const bool isSigned = form == ExifForm::signedRational;
        Fraction fraction = fractionOf(std::abs(real),
            isSigned ? std::numeric_limits<std::int32_t>::max() : std::numeric_limits<std::uint32_t>::max());
        if (real < 0)
            fraction.numerator = ~fraction.numerator + 1; // two's complement
        appendFractions(result, {&fraction, 1}, order);
    }
    return result;
}

} // namespace

TiffValue encodeValue(const ExifTag& tag, const PropertyValue& value, ByteOrder order)
{
    TiffValue result;
    if (const std::string* text = value.text(); text && tag.form == ExifForm::clock) {
        result.type = TiffType::rational;
        result.count = 3;
        appendFractions(result, *clockFrom(*text), order);
    } else if (text) {
        result.type = tag.form == ExifForm::version ? TiffType::undefined : TiffType::ascii;
        appendText(result.bytes, *text);
        if (tag.form == ExifForm::text)
            result.bytes.push_back({});
        result.count = static_cast<std::uint32_t>(result.bytes.size());
    } else if (const PropertyValue::Bytes* bytes = value.bytes()) {
        result = {TiffType::undefined, static_cast<std::uint32_t>(bytes->size()), *bytes};
    } else if (tag.form == ExifForm::coordinate) {
        result.type = TiffType::rational;
        result.count = 3;
        appendFractions(result, coordinateOf(*value.number()), order);
    } else {
        result = encodeNumbers(tag.form, value.list() ? *value.list() : PropertyValue::List{value}, order);
    }
    return result;
}

} // namespace tamsel::formats
