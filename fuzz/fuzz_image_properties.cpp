// Any bytes as a picture file: its type and its properties, which are valid and unchanged when they are set again.

#include <formats/imageMetadata.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace tamsel;

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void requireFinite(const platform::PropertyValue& value)
{
    if (const auto number = value.number())
        require(std::isfinite(*number));
    if (const platform::PropertyValue::List* list = value.list()) {
        for (const platform::PropertyValue& element : *list)
            requireFinite(element);
    }
    if (const platform::PropertyDictionary* dictionary = value.dictionary()) {
        for (const auto& [key, below] : *dictionary)
            requireFinite(below);
    }
}

/// Treats the bytes as uncompressed text.
std::optional<std::vector<std::byte>> inflate(std::span<const std::byte> bytes, std::size_t limit)
{
    if (bytes.size() > limit)
        return std::nullopt;
    return std::vector<std::byte>(bytes.begin(), bytes.end());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::span file(reinterpret_cast<const std::byte*>(data), size);
    const platform::PropertyDictionary properties = formats::readImageProperties(file, inflate);
    require(properties.empty() || formats::imageType(file));
    requireFinite(properties);
    const auto same = formats::rewriteImageUnchecked(file, properties, inflate);
    if (same)
        require(std::vector(file.begin(), file.end()) == *same);
    return 0;
}
