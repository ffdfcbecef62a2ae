// Any bytes as a picture file that gets other properties: either an error of one line, or they are read back and the
// picture is the same.

#include <formats/imageMetadata.h>
#include <formats/pictureDataIsEqual.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace tamsel;
using platform::PropertyDictionary;

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
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
    if (size == 0)
        return 0;
    // The last byte selects, so that a seed is an unmodified file.
    const std::span file(reinterpret_cast<const std::byte*>(data), size);
    const unsigned choice = data[size - 1];
    PropertyDictionary properties{
        {"{TIFF}", PropertyDictionary{{"Software", "Album 3.0"}, {"Model", "Phone"}}}};
    if ((choice & 1U) != 0)
        properties.set(
            "{Exif}", PropertyDictionary{{"DateTimeOriginal", "2026:11:25 10:00:00"}, {"Flash", 1}});
    if ((choice & 2U) != 0)
        properties.set("{GPS}", PropertyDictionary{{"Latitude", 12.5}, {"TimeStamp", "01:02:03"}});
    const auto result = formats::rewriteImage(file, properties, inflate);
    if (!result) {
        const std::string& line = result.error().localizedDescription;
        require(!line.empty() && line.find('\n') == std::string::npos);
        return 0;
    }
    require(formats::pictureDataIsEqual(file, *result));
    const PropertyDictionary read = formats::readImageProperties(*result);
    for (const auto& [name, dictionary] : properties) {
        const PropertyDictionary* found = read.findDictionary(name);
        for (const auto& [key, value] : *dictionary.dictionary()) {
            const platform::PropertyValue* own = found ? found->find(key) : nullptr;
            require(own && *own == value);
        }
    }
    const auto again = formats::rewriteImage(*result, properties);
    require(again && *again == *result);
    return 0;
}
