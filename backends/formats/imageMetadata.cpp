#include <formats/imageMetadata.h>

#include <formats/ImageContainer.h>
#include <formats/TiffHazards.h>
#include <formats/exifProperties.h>
#include <formats/pictureDataIsEqual.h>

#include <algorithm>
#include <string_view>

namespace tamsel::formats {

using platform::Error;
using platform::PropertyDictionary;
using namespace std::string_view_literals;

namespace {

/// ISO/IEC 23008-12: the first brand of a file, or else a compatible one.
std::optional<std::string> heifType(ByteView file)
{
    constexpr std::size_t firstBrand = 8;
    const std::size_t boxSize = std::min<std::size_t>(number32(file, 0, ByteOrder::big), file.size());
    for (std::size_t at = firstBrand; at + 4 <= boxSize; at += 4) {
        for (const std::string_view brand : {"avif"sv, "avis"sv}) {
            if (holdsText(file, at, brand))
                return "public.avif";
        }
        for (const std::string_view brand : {"heic"sv, "heix"sv, "heim"sv, "heis"sv, "hevc"sv, "hevx"sv}) {
            if (holdsText(file, at, brand))
                return "public.heic";
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> imageType(ByteView file)
{
    if (holdsText(file, 0, "\xFF\xD8\xFF"sv))
        return "public.jpeg";
    if (holdsText(file, 0, "\x89PNG\r\n\x1A\n"sv))
        return "public.png";
    if (holdsText(file, 0, "RIFF"sv) && holdsText(file, 8, "WEBP"sv))
        return "org.webmproject.webp";
    if (hasTiffHeader(file) || holdsText(file, 0, "II+\0"sv) || holdsText(file, 0, "MM\0+"sv))
        return "public.tiff";
    if (holdsText(file, 0, "GIF87a"sv) || holdsText(file, 0, "GIF89a"sv))
        return "com.compuserve.gif";
    // A bitmap has few marks: the reserved fields of its header are 0.
    if (holdsText(file, 0, "BM"sv) && holdsText(file, 6, "\0\0\0\0"sv) && holds(file, 0, 26))
        return "com.microsoft.bmp";
    return holdsText(file, 4, "ftyp"sv) ? heifType(file) : std::nullopt;
}

PropertyDictionary readImageProperties(ByteView file, const Inflate& inflate)
{
    PropertyDictionary result;
    const auto container = openContainer(file, inflate);
    if (!container)
        return result;
    if (const auto size = container->size()) {
        result.set(platform::kCGImagePropertyPixelWidth, std::int64_t{size->width});
        if (size->height != 0)
            result.set(platform::kCGImagePropertyPixelHeight, std::int64_t{size->height});
    }
    if (const auto block = TiffBlock::open(container->exif())) {
        for (const auto& [key, value] : readExif(*block))
            result.set(key, value);
    }
    if (const auto orientation = container->orientation())
        result.set(platform::kCGImagePropertyOrientation, std::int64_t{*orientation});
    return result;
}

std::expected<std::vector<std::byte>, Error> rewriteImageUnchecked(
    ByteView file, const PropertyDictionary& properties, const Inflate& inflate)
{
    const auto container = openContainer(file, inflate);
    if (!container)
        return std::unexpected(
            Error{.localizedDescription = "the file is not a JPEG, PNG, WebP, TIFF, HEIC or AVIF picture"});
    if (container->problem())
        return std::unexpected(Error{.localizedDescription = *container->problem()});
    const auto block = container->exif().empty() ? TiffBlock::fresh() : TiffBlock::open(container->exif());
    if (!block)
        return std::unexpected(Error{.localizedDescription = "the EXIF of the picture is damaged"});
    PropertyDictionary ofExif = properties;
    if (container->orientation())
        ofExif.remove(platform::kCGImagePropertyOrientation);
    auto changes = changesOfExif(*block, ofExif, container->newExif());
    if (changes && !changes->empty()) {
        if (auto hazard = hazardOf(*block, *changes, imageType(file) == "public.tiff"))
            return std::unexpected(Error{.localizedDescription = std::move(*hazard)});
        changes = container->replaceExif(*changes);
    }
    if (!changes)
        return std::unexpected(std::move(changes.error()));
    return spliced(file, *changes);
}

std::expected<std::vector<std::byte>, Error> rewriteImage(
    ByteView file, const PropertyDictionary& properties, const Inflate& inflate)
{
    auto result = rewriteImageUnchecked(file, properties, inflate);
    if (result && !pictureDataIsEqual(file, *result))
        return std::unexpected(Error{.localizedDescription = "the rewriting would change the picture"});
    return result;
}

} // namespace tamsel::formats
