#include <host/ffmpeg/FrameConverter.h>

#include <host/ffmpeg/enlarge.h>

#include <libyuv.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <span>

namespace tamsel::host {

namespace {

constexpr int firstHighDefinitionLines = 720;
/// Rows that are copied at a time: few, so that the copies stay in the cache; an even number.
constexpr int rowsAtOnce = 16;

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

/// For full range; null for other matrices.
const libyuv::YuvConstants* constantsFor(AVColorSpace space)
{
    switch (space) {
    case AVCOL_SPC_BT709:
        return &libyuv::kYuvF709Constants;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
        return &libyuv::kYuvJPEGConstants;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
        return &libyuv::kYuvV2020Constants;
    default:
        return nullptr;
    }
}

struct Target {
    explicit Target(platform::CVPixelBuffer& buffer)
        : pixels(reinterpret_cast<std::uint8_t*>(buffer.baseAddress())),
          stride(static_cast<int>(buffer.bytesPerRow()))
    {
    }

    [[nodiscard]] std::uint8_t* row(int y) const { return pixels + static_cast<std::ptrdiff_t>(y) * stride; }

    std::uint8_t* pixels;
    int stride;
};

/// Expands limited range to full range. `share` is the increase in 512ths, so that 16 bits hold every product and many
/// samples fit into a register; the error is below a twelfth of a step.
template <int offset, int share, int base> void expand(std::span<std::uint8_t> samples)
{
    for (std::uint8_t& sample : samples) {
        const auto value = static_cast<std::int16_t>(sample - offset);
        const auto more = static_cast<std::int16_t>(static_cast<std::int16_t>(value * share + 256) >> 9);
        const auto full = static_cast<std::int16_t>(value + more + base);
        sample = static_cast<std::uint8_t>(std::clamp<std::int16_t>(full, 0, 255));
    }
}

void expandLuma(std::span<std::uint8_t> samples)
{
    expand<16, 84, 0>(samples);
}

void expandChroma(std::span<std::uint8_t> samples)
{
    expand<128, 71, 128>(samples);
}

void copyOpaque(const AVFrame& frame, const Target& target)
{
    constexpr std::uint32_t opaque = 0xff000000; // BGRA on a little-endian machine
    const int width = frame.width; // a copy that the pixels cannot alias
    for (int y = 0; y < frame.height; ++y) {
        const std::uint8_t* from = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
        std::uint8_t* to = target.row(y);
        for (int x = 0; x < width; ++x, from += 4, to += 4) {
            std::uint32_t pixel = 0;
            std::memcpy(&pixel, from, 4);
            pixel |= opaque;
            std::memcpy(to, &pixel, 4);
        }
    }
}

bool convertRgb(const AVFrame& frame, platform::CVPixelBuffer& buffer)
{
    const Target target(buffer);
    const auto by = [&](decltype(&libyuv::ARGBCopy) conversion) {
        conversion(frame.data[0], frame.linesize[0], target.pixels, target.stride, frame.width, frame.height);
    };
    switch (frame.format) {
    case AV_PIX_FMT_BGRA:
        by(&libyuv::ARGBCopy);
        return true;
    case AV_PIX_FMT_BGR0:
        copyOpaque(frame, target);
        break;
    case AV_PIX_FMT_BGR24:
        by(&libyuv::RGB24ToARGB);
        break;
    case AV_PIX_FMT_RGB24:
        by(&libyuv::RAWToARGB);
        break;
    default:
        return false;
    }
    if (frame.color_range == AVCOL_RANGE_MPEG) {
        for (int y = 0; y < frame.height; ++y) // alpha stays opaque
            expandLuma({target.row(y), static_cast<std::size_t>(frame.width) * 4});
    }
    return true;
}

bool isPacked(const AVFrame& frame)
{
    return frame.format == AV_PIX_FMT_YUYV422 || frame.format == AV_PIX_FMT_UYVY422;
}

/// Some rows of a plane. NV12 has both colours in its second plane, and no third one.
struct Plane {
    const std::uint8_t* samples = nullptr;
    int stride = 0;
    int width = 0; ///< bytes
    int rows = 0;
};
using Planes = std::array<Plane, 3>;

Planes planesOf(const AVFrame& frame, int firstRow, int rows)
{
    const AVPixFmtDescriptor& layout = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const auto halved = [](int count, int times) { return -(-count >> times); }; // rounded up
    Planes planes{};
    for (std::size_t index = 0; index < 3; ++index) {
        const int across = index == 0 ? 0 : layout.log2_chroma_w;
        const int down = index == 0 ? 0 : layout.log2_chroma_h;
        const int stride = frame.linesize[index];
        if (frame.data[index] || isPacked(frame))
            planes[index] = {frame.data[index] + static_cast<std::ptrdiff_t>(firstRow >> down) * stride,
                stride, halved(frame.width, across), halved(rows, down)};
    }
    if (frame.format == AV_PIX_FMT_NV12)
        planes[1].width *= 2;
    return planes;
}

/// Copies of the planes, split if they are packed, in memory that is reused.
Planes copyPlanes(const AVFrame& frame, Planes planes, bool isExpanded, std::vector<std::uint8_t>& memory)
{
    const int stride = frame.width + 1; // room for both colours of NV12
    const std::size_t size = std::size_t{rowsAtOnce} * static_cast<std::size_t>(stride);
    memory.resize(3 * size);
    std::uint8_t* copy = memory.data();
    if (isPacked(frame)) {
        const bool isUyvy = frame.format == AV_PIX_FMT_UYVY422;
        const auto split = isUyvy ? libyuv::UYVYToI422 : libyuv::YUY2ToI422;
        split(planes[0].samples, planes[0].stride, copy, stride, copy + size, stride, copy + 2 * size, stride,
            frame.width, planes[0].rows);
    }
    for (Plane& plane : planes) {
        std::uint8_t* to = copy;
        for (int row = 0; row < plane.rows; ++row, to += stride) {
            const std::span samples(to, static_cast<std::size_t>(plane.width));
            if (!isPacked(frame))
                std::memcpy(
                    to, plane.samples + static_cast<std::ptrdiff_t>(row) * plane.stride, samples.size());
            if (isExpanded && copy == memory.data())
                expandLuma(samples);
            else if (isExpanded)
                expandChroma(samples);
        }
        plane.samples = copy;
        plane.stride = stride;
        copy += size;
    }
    return planes;
}

/// The conversion for three planes of 8 bits, as packed formats have them once they are split; null for other formats.
decltype(&libyuv::I420ToARGBMatrix) planarConversion(int format)
{
    switch (format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
        return &libyuv::I420ToARGBMatrix;
    case AV_PIX_FMT_YUV422P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUYV422:
    case AV_PIX_FMT_UYVY422:
        return &libyuv::I422ToARGBMatrix;
    case AV_PIX_FMT_YUV444P:
    case AV_PIX_FMT_YUVJ444P:
        return &libyuv::I444ToARGBMatrix;
    default:
        return nullptr;
    }
}

/// For 8-bit 4:2:0 of even size libswscale has a special conversion, fast and exact. It may write up to the end of a
/// row's padding and read beyond the end of a row, which is only known to be safe in memory of the FFmpeg libraries.
bool hasFastScaling(const AVFrame& frame)
{
    return (frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_YUVJ420P) && frame.buf[0]
        && frame.width % 2 == 0 && frame.height % 2 == 0;
}

/// Whether the samples of a part can be addressed by bytes.
bool hasWholeBytes(const AVPixFmtDescriptor& layout)
{
    return (layout.flags & (AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_HWACCEL)) == 0;
}

/// Lets `view` show a part of a frame, without a copy. The frame keeps its memory.
void showPart(
    const AVFrame& frame, const AVPixFmtDescriptor& layout, const platform::CGRect& part, AVFrame& view)
{
    const auto left = static_cast<int>(part.origin.x);
    const auto top = static_cast<int>(part.origin.y);
    for (int index = 0; index < layout.nb_components; ++index) {
        const AVComponentDescriptor& component = layout.comp[index];
        const bool isSubsampled = index == 1 || index == 2;
        const int x = isSubsampled ? left >> layout.log2_chroma_w : left;
        const int y = isSubsampled ? top >> layout.log2_chroma_h : top;
        // The planes of packed formats belong to their first component, whose samples lie closest.
        const bool isFirst = index == 0 || component.plane != layout.comp[0].plane;
        if (isFirst && frame.data[component.plane] != nullptr) {
            view.data[component.plane] = frame.data[component.plane]
                + static_cast<std::ptrdiff_t>(y) * frame.linesize[component.plane]
                + static_cast<std::ptrdiff_t>(x) * component.step;
            view.linesize[component.plane] = frame.linesize[component.plane];
        }
    }
    const Colour colour = colourOf(frame); // which may depend on the size of the whole
    view.format = frame.format;
    view.width = static_cast<int>(part.size.width);
    view.height = static_cast<int>(part.size.height);
    view.colorspace = colour.space;
    view.color_range = colour.isFullRange ? AVCOL_RANGE_JPEG : frame.color_range;
}

} // namespace

bool FrameConverter::convert(
    const AVFrame& frame, platform::CVPixelBuffer& buffer, const std::optional<platform::CGRect>& part)
{
    return part ? convertPart(frame, buffer, *part) : convertWhole(frame, buffer);
}

bool FrameConverter::convertWhole(const AVFrame& frame, platform::CVPixelBuffer& buffer)
{
    return convertRgb(frame, buffer) || convertYuv(frame, buffer) || scale(frame, buffer);
}

bool FrameConverter::convertPart(
    const AVFrame& frame, platform::CVPixelBuffer& buffer, const platform::CGRect& part)
{
    const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const bool isCut = layout != nullptr && hasWholeBytes(*layout);
    const auto width = static_cast<std::size_t>(isCut ? part.size.width : frame.width);
    const auto height = static_cast<std::size_t>(isCut ? part.size.height : frame.height);
    if (!part_ || part_->width() != width || part_->height() != height)
        part_ = std::make_unique<platform::CVPixelBuffer>(width, height);
    if (!isCut) {
        if (!convertWhole(frame, *part_))
            return false;
        enlarge(*part_, part, buffer);
        return true;
    }
    view_.reset(av_frame_alloc());
    if (!view_)
        return false;
    showPart(frame, *layout, part, *view_);
    if (!convertWhole(*view_, *part_))
        return false;
    enlarge(*part_, {{}, part.size}, buffer);
    return true;
}

bool FrameConverter::convertYuv(const AVFrame& frame, platform::CVPixelBuffer& buffer)
{
    const Target target(buffer);
    const Colour colour = colourOf(frame);
    if (frame.format == AV_PIX_FMT_GRAY8 && colour.isFullRange)
        return libyuv::I400ToARGBMatrix(frame.data[0], frame.linesize[0], target.pixels, target.stride,
                   &libyuv::kYuvJPEGConstants, frame.width, frame.height)
            == 0;
    const auto planar = planarConversion(frame.format);
    const libyuv::YuvConstants* constants = constantsFor(colour.space);
    if ((!planar && frame.format != AV_PIX_FMT_NV12) || !constants)
        return false;
    const bool is601Limited = !colour.isFullRange && constants == &libyuv::kYuvJPEGConstants;
    if (is601Limited && isPacked(frame)) {
        const bool isUyvy = frame.format == AV_PIX_FMT_UYVY422;
        const auto convert = isUyvy ? libyuv::UYVYToARGB : libyuv::YUY2ToARGB;
        return convert(
                   frame.data[0], frame.linesize[0], target.pixels, target.stride, frame.width, frame.height)
            == 0;
    }
    if (is601Limited)
        constants = &libyuv::kYuvI601Constants;
    // libyuv's factors end at 2, too small for the blue of other limited colours: those are expanded to full range first.
    const bool isExpanded = !colour.isFullRange && !is601Limited;
    if (isExpanded && hasFastScaling(frame))
        return false;

    const bool isCopied = isExpanded || isPacked(frame);
    const int step = isCopied ? rowsAtOnce : frame.height;
    for (int first = 0; first < frame.height; first += step) {
        Planes planes = planesOf(frame, first, std::min(step, frame.height - first));
        if (isCopied)
            planes = copyPlanes(frame, planes, isExpanded, copies_);
        const auto& [luma, blue, red] = planes;
        if (planar)
            planar(luma.samples, luma.stride, blue.samples, blue.stride, red.samples, red.stride,
                target.row(first), target.stride, constants, frame.width, luma.rows);
        else
            libyuv::NV12ToARGBMatrix(luma.samples, luma.stride, blue.samples, blue.stride, target.row(first),
                target.stride, constants, frame.width, luma.rows);
    }
    return true;
}

bool FrameConverter::scale(const AVFrame& frame, platform::CVPixelBuffer& buffer)
{
    // Accurate rounding also avoids the conversions that leave the last columns unwritten.
    const int flags = hasFastScaling(frame) ? SWS_BILINEAR : SWS_BILINEAR | SWS_ACCURATE_RND;
    scaler_.reset(sws_getCachedContext(scaler_.release(), frame.width, frame.height,
        static_cast<AVPixelFormat>(frame.format), frame.width, frame.height, AV_PIX_FMT_BGRA, flags, nullptr,
        nullptr, nullptr));
    if (!scaler_)
        return false;
    const Colour colour = colourOf(frame);
    const int* coefficients = sws_getCoefficients(colour.space);
    sws_setColorspaceDetails(
        scaler_.get(), coefficients, colour.isFullRange ? 1 : 0, coefficients, 1, 0, 1 << 16, 1 << 16);
    const Target target(buffer);
    const std::array<std::uint8_t*, 4> pixels{target.pixels};
    const std::array<int, 4> stride{target.stride};
    return sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, pixels.data(), stride.data())
        == frame.height;
}

} // namespace tamsel::host
