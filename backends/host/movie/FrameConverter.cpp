#include <host/movie/FrameConverter.h>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}
#include <libyuv/convert_argb.h>
#include <libyuv/planar_functions.h>

#include <array>

namespace tamsel::host {

namespace {

constexpr int firstHighDefinitionLines = 720;

struct Colour {
    AVColorSpace space;
    bool isFullRange;
};

Colour colourOf(const AVFrame& frame)
{
    AVColorSpace space = frame.colorspace;
    if (space == AVCOL_SPC_UNSPECIFIED || space == AVCOL_SPC_RESERVED)
        space = frame.height >= firstHighDefinitionLines ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    const bool isFullRange = frame.color_range == AVCOL_RANGE_JPEG || frame.format == AV_PIX_FMT_YUVJ420P
        || frame.format == AV_PIX_FMT_YUVJ422P || frame.format == AV_PIX_FMT_YUVJ444P;
    return {space, isFullRange};
}

/// Absent where libyuv is not exact: its factors end at 2, and the blue of limited BT.709 and BT.2020 asks for more.
const libyuv::YuvConstants* constantsFor(Colour colour)
{
    switch (colour.space) {
    case AVCOL_SPC_BT709:
        return colour.isFullRange ? &libyuv::kYuvF709Constants : nullptr;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
        return colour.isFullRange ? &libyuv::kYuvJPEGConstants : &libyuv::kYuvI601Constants;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
        return colour.isFullRange ? &libyuv::kYuvV2020Constants : nullptr;
    default:
        return nullptr;
    }
}

/// 8-bit 4:2:0 of even size has a way of its own through libswscale, fast and exact; it may write up to the end of a
/// row's padding. All else is rounded accurately, which also keeps off the ways that leave the last columns unwritten.
int scalerFlags(const AVFrame& frame)
{
    const bool isEven = frame.width % 2 == 0 && frame.height % 2 == 0;
    const bool isPlain = frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_YUVJ420P;
    return isEven && isPlain ? SWS_BILINEAR : SWS_BILINEAR | SWS_ACCURATE_RND;
}

/// The conversion for three planes of 8 bits; null for other formats.
decltype(&libyuv::I420ToARGBMatrix) planarConversion(int format)
{
    switch (format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
        return &libyuv::I420ToARGBMatrix;
    case AV_PIX_FMT_YUV422P:
    case AV_PIX_FMT_YUVJ422P:
        return &libyuv::I422ToARGBMatrix;
    case AV_PIX_FMT_YUV444P:
    case AV_PIX_FMT_YUVJ444P:
        return &libyuv::I444ToARGBMatrix;
    default:
        return nullptr;
    }
}

bool convertByLibyuv(const AVFrame& frame, platform::CVPixelBuffer& buffer)
{
    auto* target = reinterpret_cast<std::uint8_t*>(buffer.baseAddress());
    const int stride = static_cast<int>(buffer.bytesPerRow());
    const auto* y = frame.data[0];
    const auto* u = frame.data[1];
    const auto* v = frame.data[2];
    const int* strides = frame.linesize;
    if (frame.format == AV_PIX_FMT_BGRA)
        return libyuv::ARGBCopy(y, strides[0], target, stride, frame.width, frame.height) == 0;
    const libyuv::YuvConstants* constants = constantsFor(colourOf(frame));
    if (!constants)
        return false;
    if (frame.format == AV_PIX_FMT_NV12) {
        return libyuv::NV12ToARGBMatrix(
                   y, strides[0], u, strides[1], target, stride, constants, frame.width, frame.height)
            == 0;
    }
    const auto convert = planarConversion(frame.format);
    return convert
        && convert(y, strides[0], u, strides[1], v, strides[2], target, stride, constants, frame.width,
               frame.height)
        == 0;
}

} // namespace

FrameConverter::~FrameConverter()
{
    sws_freeContext(context_);
}

bool FrameConverter::convert(const AVFrame& frame, platform::CVPixelBuffer& buffer)
{
    if (convertByLibyuv(frame, buffer))
        return true;
    context_
        = sws_getCachedContext(context_, frame.width, frame.height, static_cast<AVPixelFormat>(frame.format),
            frame.width, frame.height, AV_PIX_FMT_BGRA, scalerFlags(frame), nullptr, nullptr, nullptr);
    if (!context_)
        return false;
    const Colour colour = colourOf(frame);
    const int* coefficients = sws_getCoefficients(colour.space);
    sws_setColorspaceDetails(
        context_, coefficients, colour.isFullRange ? 1 : 0, coefficients, 1, 0, 1 << 16, 1 << 16);
    const std::array<std::uint8_t*, 4> target{reinterpret_cast<std::uint8_t*>(buffer.baseAddress())};
    const std::array<int, 4> stride{static_cast<int>(buffer.bytesPerRow())};
    return sws_scale(context_, frame.data, frame.linesize, 0, frame.height, target.data(), stride.data())
        == frame.height;
}

} // namespace tamsel::host
