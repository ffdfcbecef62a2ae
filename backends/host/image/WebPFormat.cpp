#include <formats/Orientation.h>
#include <host/image/Bytes.h>
#include <host/image/PictureFormats.h>

#include <webp/decode.h>
#include <webp/demux.h>

#include <cstring>
#include <memory>

namespace tamsel::host {

using namespace platform;

namespace {

using namespace std::string_view_literals;

const std::uint8_t* rawBytes(Bytes picture)
{
    return reinterpret_cast<const std::uint8_t*>(picture.data());
}

formats::Orientation orientationOf(Bytes picture)
{
    std::size_t offset = 12;
    while (const auto size = littleNumber(picture, offset + 4, 4)) {
        if (formats::holdsText(picture, offset, "EXIF"sv))
            return formats::exifOrientation(partOf(picture, offset + 8, *size));
        offset += 8 + std::size_t{*size} + *size % 2;
    }
    return formats::upright;
}

std::optional<PictureHeader> readHeader(Bytes picture)
{
    WebPBitstreamFeatures features{};
    if (!formats::holdsText(picture, 0, "RIFF"sv) || !formats::holdsText(picture, 8, "WEBP"sv)
        || WebPGetFeatures(rawBytes(picture), picture.size(), &features) != VP8_STATUS_OK)
        return std::nullopt;
    return PictureHeader{.width = static_cast<std::size_t>(features.width),
        .height = static_cast<std::size_t>(features.height),
        .orientation = orientationOf(picture)};
}

struct Destroy {
    void operator()(WebPAnimDecoder* decoder) const { WebPAnimDecoderDelete(decoder); }
};

/// The first picture of an animation.
bool decodeFirst(Bytes picture, CVPixelBuffer& target)
{
    const WebPData data{rawBytes(picture), picture.size()};
    WebPAnimDecoderOptions options{};
    if (WebPAnimDecoderOptionsInit(&options) == 0)
        return false;
    options.color_mode = MODE_BGRA;
    const std::unique_ptr<WebPAnimDecoder, Destroy> decoder(WebPAnimDecoderNew(&data, &options));
    WebPAnimInfo info{};
    std::uint8_t* canvas = nullptr;
    int timestamp = 0;
    if (!decoder || WebPAnimDecoderGetInfo(decoder.get(), &info) == 0 || info.canvas_width != target.width()
        || info.canvas_height != target.height()
        || WebPAnimDecoderGetNext(decoder.get(), &canvas, &timestamp) == 0)
        return false;
    for (std::size_t y = 0; y < target.height(); ++y)
        std::memcpy(target.baseAddress() + y * target.bytesPerRow(), canvas + y * target.width() * 4,
            target.width() * 4);
    return true;
}

bool decodeStill(Bytes picture, CVPixelBuffer& target)
{
    return WebPDecodeBGRAInto(rawBytes(picture), picture.size(),
               reinterpret_cast<std::uint8_t*>(target.baseAddress()), target.bytesPerRow() * target.height(),
               static_cast<int>(target.bytesPerRow()))
        != nullptr;
}

std::expected<void, Error> decode(Bytes picture, CVPixelBuffer& target)
{
    WebPBitstreamFeatures features{};
    const bool isKnown = WebPGetFeatures(rawBytes(picture), picture.size(), &features) == VP8_STATUS_OK;
    if (!isKnown
        || !(features.has_animation != 0 ? decodeFirst(picture, target) : decodeStill(picture, target)))
        return std::unexpected(pictureError("WebP", "its pixels are damaged"));
    return {};
}

} // namespace

PictureFormat webPFormat()
{
    return {&readHeader, &decode};
}

} // namespace tamsel::host
