#include <tamsel/platform/CGImageProperties.h>

#include <tamsel/platform/debugDescription.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace tamsel::platform {

PropertyDictionary::PropertyDictionary() = default;
PropertyDictionary::PropertyDictionary(const PropertyDictionary&) = default;
PropertyDictionary::PropertyDictionary(PropertyDictionary&&) noexcept = default;
PropertyDictionary& PropertyDictionary::operator=(const PropertyDictionary&) = default;
PropertyDictionary& PropertyDictionary::operator=(PropertyDictionary&&) noexcept = default;
PropertyDictionary::~PropertyDictionary() = default;

PropertyDictionary::PropertyDictionary(std::initializer_list<Entry> entries)
{
    for (const Entry& entry : entries)
        set(entry.first, entry.second);
}

const PropertyValue* PropertyDictionary::find(std::string_view key) const
{
    const auto found = std::ranges::find(entries_, key, &Entry::first);
    return found == entries_.end() ? nullptr : &found->second;
}

const std::string* PropertyDictionary::findText(std::string_view key) const
{
    const PropertyValue* value = find(key);
    return value ? value->text() : nullptr;
}

const PropertyDictionary* PropertyDictionary::findDictionary(std::string_view key) const
{
    const PropertyValue* value = find(key);
    return value ? value->dictionary() : nullptr;
}

void PropertyDictionary::set(std::string_view key, PropertyValue value)
{
    const auto found = std::ranges::find(entries_, key, &Entry::first);
    if (found == entries_.end())
        entries_.emplace_back(std::string(key), std::move(value));
    else
        found->second = std::move(value);
}

bool PropertyDictionary::remove(std::string_view key)
{
    return std::erase_if(entries_, [&](const Entry& entry) { return entry.first == key; }) > 0;
}

bool PropertyDictionary::empty() const
{
    return entries_.empty();
}

std::size_t PropertyDictionary::size() const
{
    return entries_.size();
}

const PropertyDictionary::Entry* PropertyDictionary::begin() const
{
    return entries_.data();
}

const PropertyDictionary::Entry* PropertyDictionary::end() const
{
    return entries_.data() + entries_.size();
}

bool PropertyDictionary::operator==(const PropertyDictionary& other) const
{
    return std::ranges::equal(*this, other);
}

PropertyValue::PropertyValue(std::string text) : value_(std::move(text)) { }
PropertyValue::PropertyValue(std::string_view text) : value_(std::string(text)) { }
PropertyValue::PropertyValue(const char* text) : value_(std::string(text)) { }
PropertyValue::PropertyValue(std::int64_t integer) : value_(integer) { }
PropertyValue::PropertyValue(double real) : value_(real) { }
PropertyValue::PropertyValue(List list) : value_(std::move(list)) { }
PropertyValue::PropertyValue(Bytes bytes) : value_(std::move(bytes)) { }
PropertyValue::PropertyValue(PropertyDictionary dictionary) : value_(std::move(dictionary)) { }
PropertyValue::PropertyValue(const PropertyValue&) = default;
PropertyValue::PropertyValue(PropertyValue&&) noexcept = default;
PropertyValue& PropertyValue::operator=(const PropertyValue&) = default;
PropertyValue& PropertyValue::operator=(PropertyValue&&) noexcept = default;
PropertyValue::~PropertyValue() = default;

std::optional<double> PropertyValue::number() const
{
    if (const std::int64_t* whole = integer())
        return static_cast<double>(*whole);
    return real() ? std::optional(*real()) : std::nullopt;
}

bool PropertyValue::operator==(const PropertyValue& other) const
{
    return value_ == other.value_;
}

namespace {

// Everything is appended: g++ 12 warns of sums of strings.

template <typename Number> void append(std::string& line, Number number)
{
    std::array<char, 32> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
    line.append(text.data(), result.ptr);
}

void append(std::string& line, const PropertyDictionary& dictionary);

void append(std::string& line, const PropertyValue& value)
{
    if (const std::string* text = value.text())
        line.append(debugDescription(*text));
    if (const std::int64_t* integer = value.integer())
        append(line, *integer);
    if (const double* real = value.real())
        append(line, *real);
    if (const PropertyValue::Bytes* bytes = value.bytes()) {
        line.append(1, '<');
        append(line, bytes->size());
        line.append(" bytes>");
    }
    if (const PropertyDictionary* dictionary = value.dictionary())
        append(line, *dictionary);
    if (const PropertyValue::List* list = value.list()) {
        const char* separator = "[";
        for (const PropertyValue& element : *list) {
            line.append(std::exchange(separator, ", "));
            append(line, element);
        }
        line.append(list->empty() ? "[]" : "]");
    }
}

void append(std::string& line, const PropertyDictionary& dictionary)
{
    const char* separator = "{";
    for (const auto& [key, value] : dictionary) {
        line.append(std::exchange(separator, ", ")).append(debugDescription(key)).append(": ");
        append(line, value);
    }
    line.append(dictionary.empty() ? "{}" : "}");
}

} // namespace

std::string describe(const PropertyDictionary& dictionary)
{
    std::string line;
    append(line, dictionary);
    return line;
}

} // namespace tamsel::platform
