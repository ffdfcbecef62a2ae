#include <host/ffmpeg/VideoReader.h>

#include <host/ffmpeg/DecodedPicture.h>
#include <host/ffmpeg/failure.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>
#include <string_view>
#include <utility>

namespace tamsel::host {

using platform::CGAffineTransform;
using platform::CGSize;
using platform::CMTime;
using platform::Error;

namespace {

constexpr std::int64_t latestTime = std::int64_t{1} << 50; // in any time base of a valid file

constexpr std::size_t displayMatrixSize = 9 * sizeof(std::int32_t);

/// Nine numbers row by row: a and b, c and d, tx and ty in 16.16, and w, the last, in 2.30.
CGAffineTransform transformOf(const std::uint8_t* data)
{
    std::array<std::int32_t, 9> matrix{};
    std::memcpy(matrix.data(), data, displayMatrixSize);
    const double w = matrix[8] == 0 ? 1 : matrix[8] / double{1 << 30};
    const auto number = [&](std::size_t index) { return matrix[index] / 65536.0 / w; };
    return {.a = number(0), .b = number(1), .c = number(3), .d = number(4), .tx = number(6), .ty = number(7)};
}

bool isVideo(const AVStream* stream)
{
    return stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO
        && (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
}

} // namespace

VideoReader::VideoReader(std::string input, MediaFormats formats)
    : input_(std::move(input)),
      formats_(formats),
      kind_(MediaInput(input_).kind),
      isOnNetwork_(MediaInput(input_).isOnNetwork())
{
}

std::expected<std::unique_ptr<VideoReader>, Error> VideoReader::open(
    const std::string& input, const MediaWait& wait)
{
    auto reader = openContainer(input, wait, MediaFormats::any);
    if (!reader)
        return reader;
    if (auto started = (*reader)->startDecoding(); !started)
        return std::unexpected(std::move(started.error()));
    return reader;
}

std::expected<std::unique_ptr<VideoReader>, Error> VideoReader::openContainer(
    const std::string& input, const MediaWait& wait, MediaFormats formats)
{
    std::unique_ptr<VideoReader> reader(new VideoReader(input, formats));
    if (auto opened = reader->openInput(wait); !opened)
        return std::unexpected(std::move(opened.error()));
    return reader;
}

std::expected<void, Error> VideoReader::openInput(const MediaWait& wait)
{
    auto container = openMedia(input_, formats_, wait);
    if (!container)
        return std::unexpected(std::move(container.error()));
    const std::span streams((*container)->streams, (*container)->nb_streams);
    const auto track = std::ranges::find_if(streams, &isVideo);
    AVStream* found = track == streams.end() ? nullptr : *track;
    decoder_ = TrackDecoder(std::move(*container), found);
    return {};
}

bool VideoReader::isLive() const
{
    const AVFormatContext& format = decoder_.container();
    const std::string_view name = format.iformat->name;
    return isOnNetwork_ && name != "hls" && name != "dash" && format.duration <= 0
        && !(format.pb && (format.pb->seekable & AVIO_SEEKABLE_NORMAL) != 0);
}

bool VideoReader::hasTimes() const
{
    return (decoder_.container().iformat->flags & AVFMT_NOTIMESTAMPS) == 0;
}

std::expected<void, Error> VideoReader::startDecoding()
{
    if (!hasVideo())
        return failure(input_, "contains no video");
    return decoder_.start(input_);
}

CGAffineTransform VideoReader::preferredTransform() const
{
    std::size_t size = 0;
    const std::uint8_t* data
        = hasVideo() ? av_stream_get_side_data(decoder_.track(), AV_PKT_DATA_DISPLAYMATRIX, &size) : nullptr;
    return data && size >= displayMatrixSize ? transformOf(data) : CGAffineTransform{};
}

CMTime VideoReader::startTime() const
{
    const AVFormatContext& format = decoder_.container();
    const AVRational base = decoder_.track()->time_base;
    const bool startsAnywhere = (format.iformat->flags & AVFMT_TS_DISCONT) != 0;
    const bool isKnown = format.start_time != AV_NOPTS_VALUE;
    if (!startsAnywhere || !isKnown)
        return {.value = 0, .timescale = base.den};
    return {.value = av_rescale_q(format.start_time, AVRational{1, AV_TIME_BASE}, base) * base.num,
        .timescale = base.den};
}

CGSize VideoReader::presentationDimensions() const
{
    const AVCodecContext& codec = decoder_.codec();
    const AVRational ratio = av_guess_sample_aspect_ratio(&decoder_.container(), decoder_.track(), nullptr);
    const double aspect = ratio.num > 0 && ratio.den > 0 ? av_q2d(ratio) : 1;
    return {std::round(codec.width * aspect), static_cast<double>(codec.height)};
}

VideoReader::Step VideoReader::next()
{
    const Step step = decoder_.next();
    if (step == Step::frame)
        noteTime();
    return step;
}

void VideoReader::noteTime()
{
    AVFrame& frame = decoder_.frame();
    AVStream* track = decoder_.track();
    const AVRational rate = av_guess_frame_rate(&decoder_.container(), track, &frame);
    std::int64_t duration = frame.pkt_duration;
    if (duration <= 0)
        duration = rate.num > 0 ? av_rescale_q(1, av_inv_q(rate), track->time_base)
                                : av_rescale_q(1, AVRational{1, 25}, track->time_base);
    duration = std::max<std::int64_t>(1, duration);

    std::int64_t time = frame.best_effort_timestamp;
    if (time == AV_NOPTS_VALUE)
        time = last_ ? *last_ - offset_ + lastDuration_ : 0;
    time = std::clamp(time, -latestTime, latestTime); // later times are damage
    if (!first_)
        first_ = time;
    time += offset_;
    if (last_)
        time = std::max(time, *last_ + 1); // times never go backwards
    last_ = time;
    lastDuration_ = duration;
}

CMTime VideoReader::timeOf(std::int64_t units) const
{
    const AVRational base = decoder_.track()->time_base;
    std::int64_t value = 0;
    if (__builtin_mul_overflow(units, std::int64_t{base.num}, &value))
        value = std::numeric_limits<std::int64_t>::max();
    return {.value = value, .timescale = base.den};
}

std::shared_ptr<const engine::NativePicture> VideoReader::picture() const
{
    OwnedFrame copy(av_frame_clone(&decoder_.frame()));
    return copy ? std::make_shared<const DecodedPicture>(std::move(copy)) : nullptr;
}

bool VideoReader::skipToLastWhole()
{
    const AVStream& track = *decoder_.track();
    const std::int64_t begin = track.start_time == AV_NOPTS_VALUE ? 0 : track.start_time;
    return decoder_.seek(track.duration == AV_NOPTS_VALUE ? begin : begin + track.duration);
}

bool VideoReader::rewind()
{
    if (kind_ != MediaKind::file || !last_)
        return false;
    // The demuxers of single pictures report a successful seek and then deliver nothing.
    const std::string_view name = decoder_.container().iformat->name;
    const bool isPicture = name.ends_with("_pipe") || name == "image2";
    if (isPicture || (!decoder_.seek(*first_) && !decoder_.seekToFirstByte())) {
        // Some demuxers cannot seek at all: reopen the file.
        decoder_ = {};
        if (!openInput({}) || !startDecoding()) // a file
            return false;
    }
    offset_ = *last_ + lastDuration_ - *first_;
    return true;
}

} // namespace tamsel::host
