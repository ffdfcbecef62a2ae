#include <host/movie/MovieReader.h>

#include <host/ffmpeg/FrameConverter.h>
#include <host/image/PictureFormats.h>
#include <host/movie/PngFrame.h>
#include <host/movie/ffmpegOwners.h>
#include <host/movie/movieFailure.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace tamsel::host {

using platform::CGAffineTransform;
using platform::CGSize;
using platform::CMTime;
using platform::CVPixelBuffer;
using platform::Error;

namespace {

constexpr std::int64_t pixelsForOneThread = std::int64_t{1920} * 1088;
constexpr std::int64_t latestTime = std::int64_t{1} << 50; // in any time base of a sound file

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

} // namespace

struct MovieReader::Parts {
    std::string input;
    MovieKind kind = MovieKind::file;
    MovieFormats formats = MovieFormats::any;
    MovieContainer format;
    OwnedCodec codec;
    AVStream* stream = nullptr;
    OwnedPacket packet{av_packet_alloc()};
    OwnedFrame frame{av_frame_alloc()};
    OwnedFrame pngFrame;
    FrameConverter converter;
    bool isDraining = false;

    // Times in units of the track's time base.
    std::int64_t offset = 0;
    std::optional<std::int64_t> first;
    std::optional<std::int64_t> last;
    std::int64_t lastDuration = 1;

    [[nodiscard]] std::expected<void, Error> openFormat(const MovieWait& wait);
    [[nodiscard]] std::expected<void, Error> openCodec();
    [[nodiscard]] Step feed();
    void decodePacket();
    [[nodiscard]] int takeFrame();
    void noteTime();
    [[nodiscard]] CMTime timeOf(std::int64_t units) const;
};

std::expected<void, Error> MovieReader::Parts::openFormat(const MovieWait& wait)
{
    auto opened = openMovie(input, formats, wait);
    if (!opened)
        return std::unexpected(std::move(opened.error()));
    format = std::move(*opened);
    for (unsigned index = 0; index < format->nb_streams; ++index) {
        AVStream* candidate = format->streams[index];
        const bool isVideo = candidate->codecpar->codec_type == AVMEDIA_TYPE_VIDEO
            && (candidate->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
        if (isVideo && !stream)
            stream = candidate;
        else
            candidate->discard = AVDISCARD_ALL;
    }
    return {};
}

std::expected<void, Error> MovieReader::Parts::openCodec()
{
    if (!stream)
        return failure(input, "there is no video in it");
    const AVCodecID kindOfVideo = stream->codecpar->codec_id;
    // The decoder of moving PNG pictures unpacks whatever they hold.
    const AVCodec* decoder = kindOfVideo == AV_CODEC_ID_APNG ? nullptr : avcodec_find_decoder(kindOfVideo);
    if (!decoder)
        return failure(input, std::string("no decoder for ") + avcodec_get_name(kindOfVideo));
    codec.reset(avcodec_alloc_context3(decoder));
    if (const int code = avcodec_parameters_to_context(codec.get(), stream->codecpar); code < 0)
        return failure(input, messageOf(code), code);
    codec->pkt_timebase = stream->time_base;
    codec->max_pixels = static_cast<std::int64_t>(maximumPixels);
    // One thread decodes 1080p several times faster than it plays; more of them delay the first frame.
    codec->thread_count = std::int64_t{codec->width} * codec->height > pixelsForOneThread ? 2 : 1;
    if (const int code = avcodec_open2(codec.get(), decoder, nullptr); code < 0)
        return failure(input, messageOf(code), code);
    return {};
}

std::expected<std::unique_ptr<MovieReader>, Error> MovieReader::open(
    const std::string& input, const MovieWait& wait)
{
    auto reader = openContainer(input, wait, MovieFormats::any);
    if (!reader)
        return reader;
    if (auto started = (*reader)->startDecoding(); !started)
        return std::unexpected(std::move(started.error()));
    return reader;
}

std::expected<std::unique_ptr<MovieReader>, Error> MovieReader::openContainer(
    const std::string& input, const MovieWait& wait, MovieFormats formats)
{
    auto parts = std::make_unique<Parts>();
    parts->input = input;
    parts->kind = movieKindOf(input);
    parts->formats = formats;
    if (auto opened = parts->openFormat(wait); !opened)
        return std::unexpected(std::move(opened.error()));
    return std::unique_ptr<MovieReader>(new MovieReader(std::move(parts)));
}

std::expected<void, Error> MovieReader::startDecoding()
{
    return parts_->openCodec();
}

MovieReader::MovieReader(std::unique_ptr<Parts> parts) : parts_(std::move(parts)) { }

MovieReader::~MovieReader() = default;

MovieKind MovieReader::kind() const
{
    return parts_->kind;
}

bool MovieReader::hasVideo() const
{
    return parts_->stream != nullptr;
}

CGAffineTransform MovieReader::preferredTransform() const
{
    std::size_t size = 0;
    const std::uint8_t* data = parts_->stream
        ? av_stream_get_side_data(parts_->stream, AV_PKT_DATA_DISPLAYMATRIX, &size)
        : nullptr;
    return data && size >= displayMatrixSize ? transformOf(data) : CGAffineTransform{};
}

CMTime MovieReader::startTime() const
{
    const AVFormatContext& format = *parts_->format;
    const bool startsAnywhere = (format.iformat->flags & AVFMT_TS_DISCONT) != 0;
    const bool isKnown = format.start_time != AV_NOPTS_VALUE;
    if (!startsAnywhere || !isKnown)
        return {.value = 0, .timescale = parts_->stream->time_base.den};
    const AVRational base = parts_->stream->time_base;
    return {.value = av_rescale_q(format.start_time, AVRational{1, AV_TIME_BASE}, base) * base.num,
        .timescale = base.den};
}

CGSize MovieReader::presentationDimensions() const
{
    const AVCodecContext& codec = *parts_->codec;
    const AVRational ratio = av_guess_sample_aspect_ratio(parts_->format.get(), parts_->stream, nullptr);
    const double aspect = ratio.num > 0 && ratio.den > 0 ? av_q2d(ratio) : 1;
    return {std::round(codec.width * aspect), static_cast<double>(codec.height)};
}

/// Gives the decoder one more packet.
MovieReader::Step MovieReader::Parts::feed()
{
    const int code = av_read_frame(format.get(), packet.get());
    if (code == AVERROR(EAGAIN))
        return Step::again;
    if (code < 0) {
        // The end, or something that cannot be read: what has been read so far still comes out.
        if (std::exchange(isDraining, true))
            return Step::end;
        avcodec_send_packet(codec.get(), nullptr);
        return Step::frame;
    }
    if (packet->stream_index == stream->index)
        decodePacket();
    av_packet_unref(packet.get());
    return Step::frame;
}

/// A packet that is refused is left out, and so is one that is encrypted: it would decode to noise at best.
void MovieReader::Parts::decodePacket()
{
    std::size_t size = 0;
    if (av_packet_get_side_data(packet.get(), AV_PKT_DATA_ENCRYPTION_INFO, &size))
        return;
    const Bytes bytes = std::as_bytes(std::span(packet->data, static_cast<std::size_t>(packet->size)));
    if (codec->codec_id == AV_CODEC_ID_PNG)
        pngFrame = decodePngFrame(*packet);
    else if (codec->codec_id != AV_CODEC_ID_MJPEG || !hasTooManyScans(bytes))
        avcodec_send_packet(codec.get(), packet.get());
}

/// As avcodec_receive_frame.
int MovieReader::Parts::takeFrame()
{
    if (!pngFrame)
        return avcodec_receive_frame(codec.get(), frame.get());
    frame = std::move(pngFrame);
    return 0;
}

MovieReader::Step MovieReader::next()
{
    for (;;) {
        const int code = parts_->takeFrame();
        if (code == 0) {
            parts_->noteTime();
            return Step::frame;
        }
        if (code == AVERROR_EOF)
            return Step::end;
        if (const Step step = parts_->feed(); step != Step::frame)
            return step;
    }
}

void MovieReader::Parts::noteTime()
{
    const AVRational rate = av_guess_frame_rate(format.get(), stream, frame.get());
    std::int64_t duration = frame->pkt_duration;
    if (duration <= 0)
        duration = rate.num > 0 ? av_rescale_q(1, av_inv_q(rate), stream->time_base)
                                : av_rescale_q(1, AVRational{1, 25}, stream->time_base);
    duration = std::max<std::int64_t>(1, duration);

    std::int64_t time = frame->best_effort_timestamp;
    if (time == AV_NOPTS_VALUE)
        time = last ? *last - offset + lastDuration : 0;
    time = std::clamp(time, -latestTime, latestTime); // what nobody has recorded
    if (!first)
        first = time;
    time += offset;
    if (last)
        time = std::max(time, *last + 1); // times that run backwards are pushed on
    last = time;
    lastDuration = duration;
}

std::size_t MovieReader::width() const
{
    return static_cast<std::size_t>(parts_->frame->width);
}

std::size_t MovieReader::height() const
{
    return static_cast<std::size_t>(parts_->frame->height);
}

CMTime MovieReader::Parts::timeOf(std::int64_t units) const
{
    const AVRational base = stream->time_base;
    std::int64_t value = 0;
    if (__builtin_mul_overflow(units, std::int64_t{base.num}, &value))
        value = std::numeric_limits<std::int64_t>::max();
    return {.value = value, .timescale = base.den};
}

CMTime MovieReader::time() const
{
    return parts_->timeOf(parts_->last.value_or(0));
}

CMTime MovieReader::timeInLoop() const
{
    return parts_->timeOf(parts_->last.value_or(0) - parts_->offset);
}

bool MovieReader::convert(CVPixelBuffer& buffer)
{
    return parts_->converter.convert(*parts_->frame, buffer);
}

std::shared_ptr<const engine::NativePicture> MovieReader::picture() const
{
    OwnedFrame copy(av_frame_clone(parts_->frame.get()));
    return copy ? std::make_shared<const DecodedPicture>(std::move(copy)) : nullptr;
}

bool MovieReader::skipToLastWhole()
{
    Parts& parts = *parts_;
    const AVStream& stream = *parts.stream;
    const std::int64_t begin = stream.start_time == AV_NOPTS_VALUE ? 0 : stream.start_time;
    const std::int64_t end = stream.duration == AV_NOPTS_VALUE ? begin : begin + stream.duration;
    if (av_seek_frame(parts.format.get(), stream.index, end, AVSEEK_FLAG_BACKWARD) < 0)
        return false;
    avcodec_flush_buffers(parts.codec.get());
    parts.isDraining = false;
    return true;
}

bool MovieReader::rewind()
{
    Parts& parts = *parts_;
    if (parts.kind != MovieKind::file || !parts.last)
        return false;
    const std::int64_t start = *parts.first;
    // The demuxers of single pictures say that they can seek, and give nothing afterwards.
    const std::string_view name = parts.format->iformat->name;
    const bool isPicture = name.ends_with("_pipe") || name == "image2";
    if (isPicture
        || (av_seek_frame(parts.format.get(), parts.stream->index, start, AVSEEK_FLAG_BACKWARD) < 0
            && av_seek_frame(parts.format.get(), -1, 0, AVSEEK_FLAG_BYTE) < 0)) {
        // Some demuxers cannot seek at all: begin anew.
        parts.codec.reset();
        parts.stream = nullptr;
        parts.format.reset();
        if (!parts.openFormat({}) || !parts.openCodec()) // a file
            return false;
    }
    avcodec_flush_buffers(parts.codec.get());
    parts.isDraining = false;
    parts.offset = *parts.last + parts.lastDuration - start;
    return true;
}

} // namespace tamsel::host
