// TIFF, BMP and GIF pictures: their headers are read here, their pixels by the FFmpeg libraries.

#include <formats/Orientation.h>
#include <host/ffmpeg/FrameConverter.h>
#include <host/ffmpeg/PictureDecoder.h>
#include <host/image/Bytes.h>
#include <host/image/PictureFormats.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace tamsel::host {

using namespace platform;

namespace {

using namespace std::string_view_literals;

std::expected<void, Error> decode(Bytes picture, CVPixelBuffer& target, AVCodecID kind, const char* format)
{
    PictureDecoder decoder(kind);
    AVFrame* frame = decoder.decode(picture);
    if (!frame)
        return std::unexpected(pictureError(format, "its pixels are damaged or of an unknown kind"));
    if (static_cast<std::size_t>(frame->width) != target.width()
        || static_cast<std::size_t>(frame->height) != target.height())
        return std::unexpected(pictureError(format, "its size differs from its header"));
    // Still pictures use the full range, and the matrix of JPEG if they are YUV.
    frame->color_range = AVCOL_RANGE_JPEG;
    frame->colorspace = AVCOL_SPC_SMPTE170M;
    if (!FrameConverter().convert(*frame, target))
        return std::unexpected(pictureError(format, "its pixels are of an unknown kind"));
    return {};
}

std::optional<PictureHeader> readTiffHeader(Bytes picture)
{
    const auto tiff = formats::TiffBlock::open(picture);
    const auto width = tiff ? tiff->number(formats::tiffTag::imageWidth) : std::nullopt;
    const auto height = tiff ? tiff->number(formats::tiffTag::imageLength) : std::nullopt;
    if (!width || !height)
        return std::nullopt;
    return PictureHeader{.width = *width, .height = *height, .orientation = formats::orientationOf(*tiff)};
}

std::optional<PictureHeader> readBitmapHeader(Bytes picture)
{
    constexpr std::uint32_t oldHeaderSize = 12;
    constexpr std::array<std::uint32_t, 6> headerSizes{40, 52, 56, 64, 108, 124};
    const auto headerSize = littleNumber(picture, 14, 4);
    if (!formats::holdsText(picture, 0, "BM"sv) || !headerSize)
        return std::nullopt;
    if (*headerSize == oldHeaderSize) {
        const auto height = littleNumber(picture, 20, 2);
        return height
            ? std::optional(PictureHeader{.width = *littleNumber(picture, 18, 2), .height = *height})
            : std::nullopt;
    }
    const auto height = littleNumber(picture, 22, 4);
    if (std::ranges::find(headerSizes, *headerSize) == headerSizes.end() || !height)
        return std::nullopt;
    // A negative height means that the top row comes first.
    const std::int64_t signedHeight = static_cast<std::int32_t>(*height);
    return PictureHeader{
        .width = *littleNumber(picture, 18, 4), .height = static_cast<std::size_t>(std::abs(signedHeight))};
}

std::optional<PictureHeader> readGifHeader(Bytes picture)
{
    const auto height = littleNumber(picture, 8, 2);
    if ((!formats::holdsText(picture, 0, "GIF87a"sv) && !formats::holdsText(picture, 0, "GIF89a"sv))
        || !height)
        return std::nullopt;
    return PictureHeader{.width = *littleNumber(picture, 6, 2), .height = *height};
}

} // namespace

PictureFormat tiffFormat()
{
    return {&readTiffHeader, [](Bytes picture, CVPixelBuffer& target) {
                return decode(picture, target, AV_CODEC_ID_TIFF, "TIFF");
            }};
}

PictureFormat bitmapFormat()
{
    return {&readBitmapHeader,
        [](Bytes picture, CVPixelBuffer& target) { return decode(picture, target, AV_CODEC_ID_BMP, "BMP"); }};
}

PictureFormat gifFormat()
{
    return {&readGifHeader,
        [](Bytes picture, CVPixelBuffer& target) { return decode(picture, target, AV_CODEC_ID_GIF, "GIF"); }};
}

} // namespace tamsel::host
