// TIFF, BMP and GIF pictures: their headers are read here, their pixels by the FFmpeg libraries.

#include <formats/Orientation.h>
#include <host/image/Bytes.h>
#include <host/image/PictureFormats.h>
#include <host/movie/FrameConverter.h>
#include <host/movie/MovieContainer.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

namespace tamsel::host {

using namespace platform;

namespace {

using namespace std::string_view_literals;

std::optional<std::uint32_t> little(Bytes bytes, std::size_t offset, std::size_t size)
{
    return numberAt(bytes, offset, size, std::endian::little);
}

struct Free {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

std::unique_ptr<AVCodecContext, Free> openDecoder(AVCodecID kind)
{
    prepareMovieLibraries();
    const AVCodec* codec = avcodec_find_decoder(kind);
    std::unique_ptr<AVCodecContext, Free> context(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!context)
        return nullptr;
    context->thread_count = 1;
    context->max_pixels = static_cast<std::int64_t>(maximumPixels);
    return avcodec_open2(context.get(), codec, nullptr) < 0 ? nullptr : std::move(context);
}

/// The first picture of the file; null when it does not decode.
std::unique_ptr<AVFrame, Free> firstFrame(Bytes picture, AVCodecID kind)
{
    const auto context = openDecoder(kind);
    const std::unique_ptr<AVPacket, Free> packet(av_packet_alloc());
    std::unique_ptr<AVFrame, Free> frame(av_frame_alloc());
    if (!context || !packet || !frame || picture.size() > std::numeric_limits<int>::max() / 2)
        return nullptr;
    // Copied, because the decoder reads beyond the end and wants zeros there.
    if (av_new_packet(packet.get(), static_cast<int>(picture.size())) < 0)
        return nullptr;
    std::memcpy(packet->data, picture.data(), picture.size());
    if (avcodec_send_packet(context.get(), packet.get()) < 0)
        return nullptr;
    avcodec_send_packet(context.get(), nullptr);
    const bool isDone = avcodec_receive_frame(context.get(), frame.get()) >= 0
        && frame->decode_error_flags == 0 && (frame->flags & AV_FRAME_FLAG_CORRUPT) == 0;
    return isDone ? std::move(frame) : nullptr;
}

std::expected<void, Error> decode(Bytes picture, CVPixelBuffer& target, AVCodecID kind, const char* format)
{
    const auto frame = firstFrame(picture, kind);
    if (!frame)
        return std::unexpected(pictureError(format, "its pixels are damaged or of no known kind"));
    if (static_cast<std::size_t>(frame->width) != target.width()
        || static_cast<std::size_t>(frame->height) != target.height())
        return std::unexpected(pictureError(format, "it has another size than it said"));
    // Still pictures use the whole range, and the matrix of JPEG where they have one.
    frame->color_range = AVCOL_RANGE_JPEG;
    frame->colorspace = AVCOL_SPC_SMPTE170M;
    if (!FrameConverter().convert(*frame, target))
        return std::unexpected(pictureError(format, "its pixels are of no known kind"));
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
    const auto headerSize = little(picture, 14, 4);
    if (!formats::holdsText(picture, 0, "BM"sv) || !headerSize)
        return std::nullopt;
    if (*headerSize == oldHeaderSize) {
        const auto height = little(picture, 20, 2);
        return height ? std::optional(PictureHeader{.width = *little(picture, 18, 2), .height = *height})
                      : std::nullopt;
    }
    const auto height = little(picture, 22, 4);
    if (std::ranges::find(headerSizes, *headerSize) == headerSizes.end() || !height)
        return std::nullopt;
    // A negative height says that the top row comes first.
    const std::int64_t signedHeight = static_cast<std::int32_t>(*height);
    return PictureHeader{
        .width = *little(picture, 18, 4), .height = static_cast<std::size_t>(std::abs(signedHeight))};
}

std::optional<PictureHeader> readGifHeader(Bytes picture)
{
    const auto height = little(picture, 8, 2);
    if ((!formats::holdsText(picture, 0, "GIF87a"sv) && !formats::holdsText(picture, 0, "GIF89a"sv))
        || !height)
        return std::nullopt;
    return PictureHeader{.width = *little(picture, 6, 2), .height = *height};
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
