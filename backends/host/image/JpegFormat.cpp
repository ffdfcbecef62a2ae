#include <formats/Orientation.h>
#include <host/image/Bytes.h>
#include <host/image/PictureFormats.h>

#include <turbojpeg.h>

#include <memory>
#include <type_traits>

namespace tamsel::host {

using namespace platform;

namespace {

using namespace std::string_view_literals;

struct JpegHeader {
    PictureHeader picture;
    std::uint32_t components = 0;
    bool isInverted = false; ///< as files with the Adobe marker store CMYK
};

bool isStartOfFrame(std::uint32_t marker)
{
    return marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
}

/// The next marker's number, with `offset` after it; other bytes are skipped, as decoders do.
std::optional<std::uint32_t> nextMarker(Bytes picture, std::size_t& offset)
{
    while (offset + 1 < picture.size()) {
        const std::byte first = picture[offset++];
        const std::byte second = picture[offset];
        if (first != std::byte{0xff} || second == std::byte{0xff} || second == std::byte{0})
            continue;
        ++offset;
        return std::to_integer<std::uint32_t>(second);
    }
    return std::nullopt;
}

/// The header before the first scan.
std::optional<JpegHeader> readJpegHeader(Bytes picture)
{
    constexpr std::uint32_t startOfScan = 0xda;
    constexpr std::uint32_t endOfImage = 0xd9;
    if (!formats::holdsText(picture, 0, "\xff\xd8\xff"sv))
        return std::nullopt;
    JpegHeader header;
    bool hasExif = false;
    std::size_t offset = 2;
    while (const auto marker = nextMarker(picture, offset)) {
        if (*marker == startOfScan || *marker == endOfImage)
            break;
        if (*marker == 0x01 || (*marker >= 0xd0 && *marker <= 0xd8)) // these have no segment
            continue;
        const auto size = bigNumber(picture, offset, 2);
        if (!size || *size < 2)
            break;
        const Bytes segment = partOf(picture, offset + 2, *size - 2);
        offset += *size;
        if (isStartOfFrame(*marker) && header.components == 0) {
            header.picture.height = bigNumber(segment, 1, 2).value_or(0);
            header.picture.width = bigNumber(segment, 3, 2).value_or(0);
            header.components = bigNumber(segment, 5, 1).value_or(0);
        } else if (*marker == 0xe1 && !hasExif && formats::holdsText(segment, 0, "Exif\0"sv)) {
            hasExif = true;
            header.picture.orientation = formats::exifOrientation(segment);
        } else if (*marker == 0xee && formats::holdsText(segment, 0, "Adobe"sv)) {
            header.isInverted = true;
        }
    }
    return header.components == 0 ? std::nullopt : std::optional(header);
}

std::optional<PictureHeader> readHeader(Bytes picture)
{
    const auto header = readJpegHeader(picture);
    return header ? std::optional(header->picture) : std::nullopt;
}

std::byte productOf(std::byte one, std::byte other)
{
    return static_cast<std::byte>(
        (std::to_integer<unsigned>(one) * std::to_integer<unsigned>(other) + 127) / 255);
}

/// Converts CMYK to blue, green and red, in place.
void convertInks(CVPixelBuffer& buffer, bool isInverted)
{
    const std::byte flip{isInverted ? std::uint8_t{0} : std::uint8_t{255}};
    for (std::size_t y = 0; y < buffer.height(); ++y) {
        std::byte* pixel = buffer.baseAddress() + y * buffer.bytesPerRow();
        for (std::size_t x = 0; x < buffer.width(); ++x, pixel += 4) {
            const std::byte black = pixel[3] ^ flip;
            const std::byte cyan = pixel[0];
            pixel[0] = productOf(pixel[2] ^ flip, black);
            pixel[1] = productOf(pixel[1] ^ flip, black);
            pixel[2] = productOf(cyan ^ flip, black);
            pixel[3] = std::byte{255};
        }
    }
}

struct Destroy {
    void operator()(tjhandle decoder) const { tjDestroy(decoder); }
};

/// The missing part of a truncated picture stays grey.
std::expected<void, Error> decode(Bytes picture, CVPixelBuffer& target)
{
    const auto header = readJpegHeader(picture);
    if (!header || hasTooManyScans(picture))
        return std::unexpected(pictureError("JPEG", "it has too many scans"));
    const std::unique_ptr<std::remove_pointer_t<tjhandle>, Destroy> decoder(tjInitDecompress());
    if (!decoder)
        return std::unexpected(pictureError("JPEG", "no decoder"));
    const bool isInks = header->components == 4;
    const int result = tjDecompress2(decoder.get(), reinterpret_cast<const unsigned char*>(picture.data()),
        picture.size(), reinterpret_cast<unsigned char*>(target.baseAddress()),
        static_cast<int>(target.width()), static_cast<int>(target.bytesPerRow()),
        static_cast<int>(target.height()), isInks ? TJPF_CMYK : TJPF_BGRA, TJFLAG_LIMITSCANS);
    if (result != 0 && tjGetErrorCode(decoder.get()) != TJERR_WARNING)
        return std::unexpected(pictureError("JPEG", tjGetErrorStr2(decoder.get())));
    if (isInks)
        convertInks(target, header->isInverted);
    return {};
}

} // namespace

/// Counts wherever a decoder might read. Other bytes that look like a marker, as in a video after the picture, have
/// another length, which decoders refuse.
bool hasTooManyScans(Bytes jpeg)
{
    constexpr std::size_t maximumScans = 64; // progressive pictures have a dozen
    const std::string_view text(reinterpret_cast<const char*>(jpeg.data()), jpeg.size());
    std::size_t scans = 0;
    for (std::size_t at = text.find("\xff\xda"sv); at != text.npos; at = text.find("\xff\xda"sv, at + 2)) {
        const std::uint32_t components = bigNumber(jpeg, at + 4, 1).value_or(0);
        scans += components > 0 && bigNumber(jpeg, at + 2, 2) == 6 + 2 * components ? 1 : 0;
    }
    return scans > maximumScans;
}

PictureFormat jpegFormat()
{
    return {&readHeader, &decode};
}

} // namespace tamsel::host
