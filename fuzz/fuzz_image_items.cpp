// Any bytes as a HEIC file, or as the description of its items: every item but the EXIF has the same content in the
// stamped file, and the same properties.

#include <formats/HeifItems.h>
#include <formats/imageMetadata.h>

#include <algorithm>
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

void appendBox(std::vector<std::byte>& file, std::string_view type, formats::ByteView content)
{
    formats::appendNumber(file, content.size() + 8, 4, formats::ByteOrder::big);
    formats::appendText(file, type);
    formats::append(file, content);
}

/// A file whose description these bytes are, between two boxes with media.
std::vector<std::byte> fileAround(formats::ByteView meta)
{
    constexpr std::string_view media = "the data of all items is somewhere in these sixty-four bytes....";
    std::vector<std::byte> file;
    appendBox(file, "ftyp", std::as_bytes(std::span(std::string_view("heic1234"))));
    appendBox(file, "mdat", std::as_bytes(std::span(media)));
    appendBox(file, "meta", meta);
    appendBox(file, "mdat", std::as_bytes(std::span(media)));
    return file;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const formats::ByteView input(reinterpret_cast<const std::byte*>(data), size);
    const bool isFile = formats::holdsText(input, 4, "ftyp");
    const std::vector<std::byte> file
        = isFile ? std::vector<std::byte>(input.begin(), input.end()) : fileAround(input);
    const auto old = formats::HeifItems::read(file);
    const auto result = formats::rewriteImageUnchecked(
        file, {{"{TIFF}", PropertyDictionary{{"Software", "Album 3.0"}, {"Model", "Phone"}}}});
    if (!old || !result)
        return 0;
    const auto anew = formats::HeifItems::read(*result);
    require(anew && anew->exif());
    const formats::HeifItem* exif = old->exif();
    require(!exif || exif->id == anew->exif()->id);
    constexpr std::size_t mostItems = 64;
    for (const formats::HeifItem& item :
        std::span(old->items()).first(std::min(old->items().size(), mostItems))) {
        const auto content = old->content(item.id);
        if (content && (!exif || item.id != exif->id))
            require(content == anew->content(item.id));
    }
    require(old->primaryProperties().size() == anew->primaryProperties().size());
    return 0;
}
