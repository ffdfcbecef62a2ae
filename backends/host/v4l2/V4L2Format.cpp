#include <host/v4l2/V4L2Format.h>

#include <linux/videodev2.h>

#include <algorithm>
#include <cerrno>

namespace tamsel::host {

namespace {

constexpr double largestSide = 16384;
constexpr std::uint32_t longestRow = 1 << 30; // longer than any buffer

AVColorSpace matrixOf(std::uint32_t encoding)
{
    switch (encoding) {
    case V4L2_YCBCR_ENC_709:
    case V4L2_YCBCR_ENC_XV709:
    case V4L2_YCBCR_ENC_SMPTE240M: // within a hundredth of it
        return AVCOL_SPC_BT709;
    case V4L2_YCBCR_ENC_BT2020:
    case V4L2_YCBCR_ENC_BT2020_CONST_LUM:
        return AVCOL_SPC_BT2020_NCL;
    default:
        return AVCOL_SPC_SMPTE170M;
    }
}

FrameFormat frameFormatOf(const v4l2_pix_format& pixels, PixelLayout layout)
{
    // Without the magic number the driver does not know the fields after it.
    const bool namesColours = pixels.priv == V4L2_PIX_FMT_PRIV_MAGIC;
    std::uint32_t space = pixels.colorspace;
    if (space == V4L2_COLORSPACE_DEFAULT)
        space = V4L2_MAP_COLORSPACE_DEFAULT(false, false);
    std::uint32_t encoding = namesColours ? pixels.ycbcr_enc : std::uint32_t{V4L2_YCBCR_ENC_DEFAULT};
    if (encoding == V4L2_YCBCR_ENC_DEFAULT)
        encoding = V4L2_MAP_YCBCR_ENC_DEFAULT(space);
    std::uint32_t quantization
        = namesColours ? pixels.quantization : std::uint32_t{V4L2_QUANTIZATION_DEFAULT};
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(layout.format);
    const bool isRgb = format && (format->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    if (quantization == V4L2_QUANTIZATION_DEFAULT)
        quantization = V4L2_MAP_QUANTIZATION_DEFAULT(isRgb, space, encoding);
    return {.layout = layout,
        .width = static_cast<int>(pixels.width),
        .height = static_cast<int>(pixels.height),
        .bytesPerRow = static_cast<int>(std::min(pixels.bytesperline, longestRow)),
        .matrix = matrixOf(encoding),
        .range = quantization == V4L2_QUANTIZATION_LIM_RANGE ? AVCOL_RANGE_MPEG : AVCOL_RANGE_JPEG};
}

/// Calls `use` for each entry that the device lists, until it returns false.
template <typename Entry, typename Use>
void forEachEntry(const V4L2Device& device, unsigned long request, Entry entry, const Use& use)
{
    constexpr std::uint32_t enough = 256; // a driver might list entries for ever
    while (entry.index < enough && device.control(request, &entry) == 0 && use(entry))
        ++entry.index;
}

std::optional<CameraMode::Interval> bestInterval(const V4L2Device& device, const CameraMode& mode)
{
    std::optional<CameraMode::Interval> best;
    v4l2_frmivalenum entry{};
    entry.pixel_format = mode.pixelFormat;
    entry.width = mode.width;
    entry.height = mode.height;
    forEachEntry(device, VIDIOC_ENUM_FRAMEINTERVALS, entry, [&](const v4l2_frmivalenum& listed) {
        if (listed.type == V4L2_FRMIVAL_TYPE_DISCRETE) {
            preferInterval(best, {listed.discrete.numerator, listed.discrete.denominator});
            return true;
        }
        preferIntervals(best, {listed.stepwise.min.numerator, listed.stepwise.min.denominator},
            {listed.stepwise.max.numerator, listed.stepwise.max.denominator});
        return false;
    });
    return best;
}

void addMode(std::vector<CameraMode>& modes, const V4L2Device& device, std::uint32_t pixelFormat,
    std::uint32_t width, std::uint32_t height)
{
    if (width == 0 || height == 0)
        return;
    CameraMode mode{.pixelFormat = pixelFormat, .width = width, .height = height};
    mode.isCompressed = layoutOf(mode.pixelFormat)->isJpeg();
    mode.interval = bestInterval(device, mode);
    mode.order = static_cast<int>(modes.size());
    modes.push_back(mode);
}

void addSizes(std::vector<CameraMode>& modes, const V4L2Device& device, std::uint32_t pixelFormat)
{
    v4l2_frmsizeenum entry{};
    entry.pixel_format = pixelFormat;
    forEachEntry(device, VIDIOC_ENUM_FRAMESIZES, entry, [&](const v4l2_frmsizeenum& listed) {
        if (listed.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
            addMode(modes, device, pixelFormat, listed.discrete.width, listed.discrete.height);
            return true;
        }
        const v4l2_frmsize_stepwise& range = listed.stepwise;
        for (const auto& [width, height] : usualSizes({range.min_width, range.max_width, range.step_width,
                 range.min_height, range.max_height, range.step_height}))
            addMode(modes, device, pixelFormat, width, height);
        return false;
    });
}

void setRate(const V4L2Device& device, const CameraMode& mode)
{
    if (!mode.interval)
        return;
    v4l2_streamparm parameters{};
    parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    parameters.parm.capture.timeperframe = {mode.interval->numerator, mode.interval->denominator};
    // A device that ignores this runs at its own rate.
    (void)device.control(VIDIOC_S_PARM, &parameters);
}

} // namespace

std::optional<PixelLayout> layoutOf(std::uint32_t pixelFormat)
{
    switch (pixelFormat) {
    case V4L2_PIX_FMT_YUYV:
        return PixelLayout{AV_PIX_FMT_YUYV422};
    case V4L2_PIX_FMT_UYVY:
        return PixelLayout{AV_PIX_FMT_UYVY422};
    case V4L2_PIX_FMT_NV12:
        return PixelLayout{AV_PIX_FMT_NV12};
    case V4L2_PIX_FMT_YUV420:
        return PixelLayout{AV_PIX_FMT_YUV420P};
    case V4L2_PIX_FMT_YVU420:
        return PixelLayout{AV_PIX_FMT_YUV420P, true};
    case V4L2_PIX_FMT_BGR32:
    case V4L2_PIX_FMT_XBGR32:
    case V4L2_PIX_FMT_ABGR32:
        return PixelLayout{AV_PIX_FMT_BGR0};
    case V4L2_PIX_FMT_BGR24:
        return PixelLayout{AV_PIX_FMT_BGR24};
    case V4L2_PIX_FMT_RGB24:
        return PixelLayout{AV_PIX_FMT_RGB24};
    case V4L2_PIX_FMT_MJPEG:
    case V4L2_PIX_FMT_JPEG:
        return PixelLayout{};
    default:
        return std::nullopt;
    }
}

std::vector<CameraMode> convertibleModes(const V4L2Device& device)
{
    v4l2_format current{};
    current.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    const bool hasCurrent = device.control(VIDIOC_G_FMT, &current) == 0;
    const v4l2_pix_format& pixels = current.fmt.pix;

    std::vector<CameraMode> modes;
    v4l2_fmtdesc entry{};
    entry.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    forEachEntry(device, VIDIOC_ENUM_FMT, entry, [&](const v4l2_fmtdesc& listed) {
        if (!layoutOf(listed.pixelformat))
            return true;
        const std::size_t before = modes.size();
        addSizes(modes, device, listed.pixelformat);
        if (modes.size() == before && hasCurrent)
            addMode(modes, device, listed.pixelformat, pixels.width, pixels.height);
        return true;
    });
    if (modes.empty() && hasCurrent && layoutOf(pixels.pixelformat))
        addMode(modes, device, pixels.pixelformat, pixels.width, pixels.height);
    return modes;
}

std::expected<FrameFormat, platform::Error> setFormat(
    const V4L2Device& device, platform::AVCaptureSessionPreset preset)
{
    std::vector<CameraMode> modes = convertibleModes(device);
    rankModes(modes, preset);
    platform::Error refusal = device.error("offers no format that can be converted", ENOTSUP);
    for (const CameraMode& mode : modes) {
        v4l2_format format{};
        format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        format.fmt.pix.width = mode.width;
        format.fmt.pix.height = mode.height;
        format.fmt.pix.pixelformat = mode.pixelFormat;
        format.fmt.pix.field = V4L2_FIELD_NONE;
        format.fmt.pix.priv = V4L2_PIX_FMT_PRIV_MAGIC;
        if (const int number = device.control(VIDIOC_S_FMT, &format); number != 0) {
            refusal = device.error("refuses its format", number);
            if (number == EINVAL)
                continue;
            break;
        }
        // The device may have chosen another size or format.
        const v4l2_pix_format& pixels = format.fmt.pix;
        const std::optional<PixelLayout> layout = layoutOf(pixels.pixelformat);
        if (!layout || pixels.width == 0 || pixels.height == 0 || pixels.width > largestSide
            || pixels.height > largestSide)
            continue;
        setRate(device, mode);
        return frameFormatOf(pixels, *layout);
    }
    return std::unexpected(std::move(refusal));
}

} // namespace tamsel::host
