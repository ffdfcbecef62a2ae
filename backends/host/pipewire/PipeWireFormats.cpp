#include <host/pipewire/PipeWireFormats.h>

#include <engine/capture/MicrophoneDriver.h>

#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/buffers.h>
#include <spa/param/param.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

#include <algorithm>
#include <array>
#include <span>

namespace tamsel::host {

namespace {

constexpr std::uint32_t largestSide = 16384;
constexpr int usualBuffers = 8;
constexpr int fewestBuffers = 2;
constexpr int mostBuffers = 16;
/// The number of a compressed format in a mode.
constexpr std::uint32_t jpegFormat = SPA_VIDEO_FORMAT_ENCODED;

struct Format {
    std::uint32_t number;
    AVPixelFormat layout;
};
/// Alpha is ignored: a camera's picture is opaque.
constexpr std::array<Format, 5> formats{{{SPA_VIDEO_FORMAT_BGRx, AV_PIX_FMT_BGR0},
    {SPA_VIDEO_FORMAT_BGRA, AV_PIX_FMT_BGR0}, {SPA_VIDEO_FORMAT_YUY2, AV_PIX_FMT_YUYV422},
    {SPA_VIDEO_FORMAT_NV12, AV_PIX_FMT_NV12}, {SPA_VIDEO_FORMAT_I420, AV_PIX_FMT_YUV420P}}};

std::optional<PixelLayout> layoutOf(std::uint32_t number)
{
    if (number == jpegFormat)
        return PixelLayout{};
    const auto* found = std::ranges::find(formats, number, &Format::number);
    return found == formats.end() ? std::nullopt : std::optional(PixelLayout{found->layout});
}

/// A property that is one value or a choice of several, the first of which is the usual one.
template <typename Value> struct Choice {
    Choice(const spa_pod& format, std::uint32_t key)
    {
        const spa_pod_prop* property = spa_pod_find_prop(&format, nullptr, key);
        if (!property)
            return;
        std::uint32_t count = 0;
        const spa_pod* first = spa_pod_get_values(&property->value, &count, &kind);
        if (SPA_POD_BODY_SIZE(first) != sizeof(Value))
            return;
        values = {static_cast<const Value*>(SPA_POD_BODY_CONST(first)), count};
        if (kind == SPA_CHOICE_Enum && values.size() > 1)
            values = values.subspan(1); // the usual one is repeated
        else if (kind == SPA_CHOICE_None)
            values = values.first(std::min<std::size_t>(values.size(), 1));
    }

    [[nodiscard]] bool isRange() const
    {
        return (kind == SPA_CHOICE_Range || kind == SPA_CHOICE_Step) && values.size() >= 3;
    }

    std::uint32_t kind = SPA_CHOICE_None;
    std::span<const Value> values;
};

std::optional<CameraMode::Interval> bestInterval(const spa_pod& format)
{
    const Choice<spa_fraction> rates(format, SPA_FORMAT_VIDEO_framerate);
    std::optional<CameraMode::Interval> best;
    const auto intervalOf
        = [](const spa_fraction& rate) { return CameraMode::Interval{rate.denom, rate.num}; };
    if (rates.isRange())
        preferIntervals(best, intervalOf(rates.values[2]), intervalOf(rates.values[1]));
    else
        for (const spa_fraction& rate : rates.values)
            preferInterval(best, intervalOf(rate));
    return best;
}

std::vector<std::pair<std::uint32_t, std::uint32_t>> sizesOf(const spa_pod& format)
{
    const Choice<spa_rectangle> choice(format, SPA_FORMAT_VIDEO_size);
    if (choice.isRange()) {
        const spa_rectangle step = choice.kind == SPA_CHOICE_Step && choice.values.size() > 3
            ? choice.values[3]
            : spa_rectangle{2, 2};
        return usualSizes({choice.values[1].width, std::min(choice.values[2].width, largestSide), step.width,
            choice.values[1].height, std::min(choice.values[2].height, largestSide), step.height});
    }
    std::vector<std::pair<std::uint32_t, std::uint32_t>> sizes;
    for (const spa_rectangle& size : choice.values)
        sizes.emplace_back(size.width, size.height);
    return sizes;
}

AVColorSpace matrixOf(std::uint32_t matrix)
{
    switch (matrix) {
    case SPA_VIDEO_COLOR_MATRIX_BT709:
    case SPA_VIDEO_COLOR_MATRIX_SMPTE240M: // within a hundredth of it
        return AVCOL_SPC_BT709;
    case SPA_VIDEO_COLOR_MATRIX_BT601:
    case SPA_VIDEO_COLOR_MATRIX_FCC:
        return AVCOL_SPC_SMPTE170M;
    case SPA_VIDEO_COLOR_MATRIX_BT2020:
        return AVCOL_SPC_BT2020_NCL;
    default:
        return AVCOL_SPC_UNSPECIFIED;
    }
}

} // namespace

void addModes(std::vector<CameraMode>& modes, const spa_pod& format)
{
    std::uint32_t type = 0;
    std::uint32_t subtype = 0;
    if (spa_format_parse(&format, &type, &subtype) < 0 || type != SPA_MEDIA_TYPE_video)
        return;
    std::vector<std::uint32_t> numbers;
    if (subtype == SPA_MEDIA_SUBTYPE_mjpg)
        numbers = {jpegFormat};
    else if (const Choice<std::uint32_t> listed(format, SPA_FORMAT_VIDEO_format);
        subtype == SPA_MEDIA_SUBTYPE_raw)
        numbers.assign(listed.values.begin(), listed.values.end());
    const std::optional<CameraMode::Interval> interval = bestInterval(format);
    for (const std::uint32_t number : numbers) {
        const std::optional<PixelLayout> layout = layoutOf(number);
        for (const auto& [width, height] : sizesOf(format)) {
            if (layout && width > 0 && height > 0 && width <= largestSide && height <= largestSide)
                modes.push_back({.pixelFormat = number,
                    .width = width,
                    .height = height,
                    .isCompressed = layout->isJpeg(),
                    .interval = interval,
                    .order = static_cast<int>(modes.size())});
        }
    }
}

PipeWirePod PipeWirePod::of(const CameraMode& mode)
{
    PipeWirePod pod;
    spa_pod_builder builder = pod.builder();
    const spa_rectangle size{mode.width, mode.height};
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
        SPA_FORMAT_mediaSubtype,
        SPA_POD_Id(mode.isCompressed ? SPA_MEDIA_SUBTYPE_mjpg : SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_size,
        SPA_POD_Rectangle(&size), 0);
    if (!mode.isCompressed)
        spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_format, SPA_POD_Id(mode.pixelFormat), 0);
    const auto [seconds, count] = mode.interval.value_or(CameraMode::Interval{});
    const spa_fraction rate{count, seconds};
    if (mode.interval)
        spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&rate), 0);
    spa_pod_builder_pop(&builder, &frame);
    return pod;
}

PipeWirePod PipeWirePod::anyFormat(bool isCompressed)
{
    PipeWirePod pod;
    spa_pod_builder builder = pod.builder();
    if (isCompressed)
        spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat,
            SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
            SPA_POD_Id(SPA_MEDIA_SUBTYPE_mjpg));
    else
        spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat,
            SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
            SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
            SPA_FORMAT_VIDEO_format, // the usual one first
            SPA_POD_CHOICE_ENUM_Id(6, formats[0].number, formats[0].number, formats[1].number,
                formats[2].number, formats[3].number, formats[4].number));
    return pod;
}

PipeWirePod PipeWirePod::sound()
{
    PipeWirePod pod;
    spa_pod_builder builder = pod.builder();
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_F32;
    info.rate = engine::SoundChunk::sampleRate;
    info.channels = engine::SoundChunk::channelCount;
    info.position[0] = SPA_AUDIO_CHANNEL_FL;
    info.position[1] = SPA_AUDIO_CHANNEL_FR;
    spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info);
    return pod;
}

PipeWirePod PipeWirePod::buffers()
{
    PipeWirePod pod;
    spa_pod_builder builder = pod.builder();
    spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers,
        SPA_PARAM_BUFFERS_buffers, SPA_POD_CHOICE_RANGE_Int(usualBuffers, fewestBuffers, mostBuffers),
        SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1), SPA_PARAM_BUFFERS_dataType,
        SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemPtr) | (1 << SPA_DATA_MemFd)));
    return pod;
}

PipeWirePod PipeWirePod::headers()
{
    PipeWirePod pod;
    spa_pod_builder builder = pod.builder();
    spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
        SPA_POD_Id(SPA_META_Header), SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_header)));
    return pod;
}

spa_pod_builder PipeWirePod::builder()
{
    spa_pod_builder builder{};
    spa_pod_builder_init(
        &builder, words_.data(), static_cast<std::uint32_t>(words_.size() * sizeof(std::uint64_t)));
    return builder;
}

std::optional<FrameFormat> frameFormatOf(const spa_pod& format)
{
    spa_video_info info{};
    if (spa_format_video_parse(&format, &info) < 0)
        return std::nullopt;
    const bool isJpeg = info.media_subtype == SPA_MEDIA_SUBTYPE_mjpg;
    if (!isJpeg && info.media_subtype != SPA_MEDIA_SUBTYPE_raw)
        return std::nullopt;
    const spa_rectangle size = isJpeg ? info.info.mjpg.size : info.info.raw.size;
    const std::optional<PixelLayout> layout
        = layoutOf(isJpeg ? jpegFormat : std::uint32_t{info.info.raw.format});
    if (!layout || size.width == 0 || size.height == 0 || size.width > largestSide
        || size.height > largestSide)
        return std::nullopt;
    FrameFormat result{
        .layout = *layout, .width = static_cast<int>(size.width), .height = static_cast<int>(size.height)};
    if (isJpeg)
        return result;
    result.matrix = matrixOf(info.info.raw.color_matrix);
    const bool isRgb = layout->format == AV_PIX_FMT_BGR0;
    const bool isFull = info.info.raw.color_range == SPA_VIDEO_COLOR_RANGE_0_255
        || (isRgb && info.info.raw.color_range != SPA_VIDEO_COLOR_RANGE_16_235);
    result.range = isFull ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    return result;
}

} // namespace tamsel::host
