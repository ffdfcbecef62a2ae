#include <tamsel/platform/CGImageProperties.h>

#include <tamsel/platform/Diagnostics.h>

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
PropertyValue::PropertyValue(int integer) : value_(std::int64_t{integer}) { }
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

template <typename Number> std::string shortest(Number number)
{
    std::array<char, 32> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), result.ptr};
}

std::string describe(const PropertyValue& value)
{
    if (const std::string* text = value.text())
        return debugDescription(*text);
    if (const std::int64_t* integer = value.integer())
        return shortest(*integer);
    if (const double* real = value.real())
        return shortest(*real);
    if (const PropertyValue::Bytes* bytes = value.bytes())
        return "<" + shortest(bytes->size()) + " bytes>";
    if (const PropertyDictionary* dictionary = value.dictionary())
        return platform::describe(*dictionary);
    std::string line = "[";
    for (const PropertyValue& element : *value.list())
        line.append(line.size() > 1 ? ", " : "").append(describe(element));
    return line + "]";
}

} // namespace

std::string describe(const PropertyDictionary& dictionary)
{
    std::string line = "{";
    for (const auto& [key, value] : dictionary)
        line.append(line.size() > 1 ? ", " : "").append(debugDescription(key)).append(": ").append(describe(value));
    return line + "}";
}

} // namespace tamsel::platform
