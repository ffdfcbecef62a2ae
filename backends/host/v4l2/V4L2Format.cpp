#include <host/v4l2/V4L2Format.h>

#include <linux/videodev2.h>

#include <algorithm>
#include <cerrno>
#include <tuple>

namespace tamsel::host {

namespace {

constexpr std::uint64_t fullHdWidth = 1920;
constexpr std::uint64_t fullHdHeight = 1080;
/// 30000/1001 counts as 30.
constexpr double wantedRate = 29.9;
constexpr double largestSide = 16384;
constexpr std::uint32_t longestRow = 1 << 30; // longer than any buffer

bool fitsFullHd(const V4L2Mode& mode)
{
    return std::max(mode.width, mode.height) <= fullHdWidth
        && std::min(mode.width, mode.height) <= fullHdHeight;
}

bool isUncompressed(const V4L2Mode& mode)
{
    return !layoutOf(mode.pixelFormat)->isJpeg();
}

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

V4L2FrameFormat frameFormatOf(const v4l2_pix_format& pixels, PixelLayout layout)
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

/// The slowest sufficient rate, or else the fastest one.
void preferInterval(std::optional<V4L2Mode::Interval>& best, const V4L2Mode::Interval& other)
{
    if (other.numerator == 0)
        return;
    const double rate = static_cast<double>(other.denominator) / other.numerator;
    const double bestRate = best ? static_cast<double>(best->denominator) / best->numerator : 0;
    const bool isBetter = bestRate >= wantedRate ? rate >= wantedRate && rate < bestRate : rate > bestRate;
    if (isBetter)
        best = other;
}

std::optional<V4L2Mode::Interval> bestInterval(const V4L2Device& device, const V4L2Mode& mode)
{
    std::optional<V4L2Mode::Interval> best;
    v4l2_frmivalenum entry{};
    entry.pixel_format = mode.pixelFormat;
    entry.width = mode.width;
    entry.height = mode.height;
    forEachEntry(device, VIDIOC_ENUM_FRAMEINTERVALS, entry, [&](const v4l2_frmivalenum& listed) {
        if (listed.type == V4L2_FRMIVAL_TYPE_DISCRETE) {
            preferInterval(best, {listed.discrete.numerator, listed.discrete.denominator});
            return true;
        }
        const v4l2_fract& fastest = listed.stepwise.min;
        const v4l2_fract& slowest = listed.stepwise.max;
        preferInterval(best, {fastest.numerator, fastest.denominator});
        preferInterval(best, {slowest.numerator, slowest.denominator});
        const bool includes30 = std::uint64_t{fastest.numerator} * 30 <= fastest.denominator
            && std::uint64_t{slowest.numerator} * 30 >= slowest.denominator;
        if (includes30)
            preferInterval(best, {1, 30});
        return false;
    });
    return best;
}

std::uint32_t onStep(std::uint32_t wanted, std::uint32_t smallest, std::uint32_t largest, std::uint32_t step)
{
    const std::uint32_t inside = std::clamp(wanted, smallest, std::max(smallest, largest));
    return inside - (inside - smallest) % std::max(step, std::uint32_t{1});
}

void addMode(std::vector<V4L2Mode>& modes, const V4L2Device& device, V4L2Mode mode)
{
    if (mode.width == 0 || mode.height == 0)
        return;
    mode.interval = bestInterval(device, mode);
    mode.order = static_cast<int>(modes.size());
    modes.push_back(mode);
}

void addSizes(std::vector<V4L2Mode>& modes, const V4L2Device& device, std::uint32_t pixelFormat)
{
    v4l2_frmsizeenum entry{};
    entry.pixel_format = pixelFormat;
    forEachEntry(device, VIDIOC_ENUM_FRAMESIZES, entry, [&](const v4l2_frmsizeenum& listed) {
        if (listed.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
            addMode(modes, device, {pixelFormat, listed.discrete.width, listed.discrete.height, {}, 0});
            return true;
        }
        // Any size in between: the largest, and usual ones that may run faster.
        const v4l2_frmsize_stepwise& range = listed.stepwise;
        constexpr std::pair<std::uint32_t, std::uint32_t> wanted[]
            = {{UINT32_MAX, UINT32_MAX}, {1920, 1080}, {1280, 720}, {640, 480}};
        for (const auto& [width, height] : wanted) {
            addMode(modes, device,
                {pixelFormat, onStep(width, range.min_width, range.max_width, range.step_width),
                    onStep(height, range.min_height, range.max_height, range.step_height), {}, 0});
        }
        return false;
    });
}

void setRate(const V4L2Device& device, const V4L2Mode& mode)
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

double V4L2Mode::rate() const
{
    return interval ? static_cast<double>(interval->denominator) / interval->numerator : wantedRate;
}

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

std::vector<V4L2Mode> convertibleModes(const V4L2Device& device)
{
    v4l2_format current{};
    current.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    const bool hasCurrent = device.control(VIDIOC_G_FMT, &current) == 0;
    const v4l2_pix_format& pixels = current.fmt.pix;

    std::vector<V4L2Mode> modes;
    v4l2_fmtdesc entry{};
    entry.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    forEachEntry(device, VIDIOC_ENUM_FMT, entry, [&](const v4l2_fmtdesc& listed) {
        if (!layoutOf(listed.pixelformat))
            return true;
        const std::size_t before = modes.size();
        addSizes(modes, device, listed.pixelformat);
        if (modes.size() == before && hasCurrent)
            addMode(modes, device, {listed.pixelformat, pixels.width, pixels.height, {}, 0});
        return true;
    });
    if (modes.empty() && hasCurrent && layoutOf(pixels.pixelformat))
        addMode(modes, device, {pixels.pixelformat, pixels.width, pixels.height, {}, 0});
    return modes;
}

void rankModes(std::vector<V4L2Mode>& modes, platform::AVCaptureSessionPreset preset)
{
    const auto photoRank = [](const V4L2Mode& mode) {
        const bool isFast = mode.rate() >= wantedRate;
        return std::tuple(std::uint64_t{mode.width} * mode.height, isFast, isFast ? 0.0 : mode.rate(),
            isUncompressed(mode), mode.interval.has_value(), -mode.order);
    };
    const auto highRank = [](const V4L2Mode& mode) {
        const bool isSmall = fitsFullHd(mode);
        const bool isWanted = isSmall && mode.rate() >= wantedRate;
        const double area = static_cast<double>(mode.width) * mode.height;
        return std::tuple(isWanted, isWanted ? area : mode.rate(), isSmall, isSmall ? area : -area,
            isUncompressed(mode), mode.interval.has_value(), -mode.order);
    };
    std::ranges::sort(modes, [&](const V4L2Mode& one, const V4L2Mode& other) {
        return preset == platform::AVCaptureSessionPreset::photo ? photoRank(one) > photoRank(other)
                                                                 : highRank(one) > highRank(other);
    });
}

std::expected<V4L2FrameFormat, platform::Error> setFormat(
    const V4L2Device& device, platform::AVCaptureSessionPreset preset)
{
    std::vector<V4L2Mode> modes = convertibleModes(device);
    rankModes(modes, preset);
    platform::Error refusal = device.error("offers no format that can be converted", ENOTSUP);
    for (const V4L2Mode& mode : modes) {
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
