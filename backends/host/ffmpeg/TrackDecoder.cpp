#include <host/ffmpeg/TrackDecoder.h>

#include <host/ffmpeg/decodePngFrame.h>
#include <host/ffmpeg/failure.h>
#include <host/image/PictureFormats.h>

#include <span>
#include <utility>

namespace tamsel::host {

namespace {

constexpr std::int64_t pixelsForOneThread = std::int64_t{1920} * 1088;

} // namespace

TrackDecoder::TrackDecoder(MediaContainer container, AVStream* track)
    : container_(std::move(container)),
      track_(track)
{
    for (AVStream* stream : std::span(container_->streams, container_->nb_streams)) {
        if (stream != track)
            stream->discard = AVDISCARD_ALL;
    }
}

std::expected<void, platform::Error> TrackDecoder::start(const std::string& input)
{
    const AVCodecID kind = track_->codecpar->codec_id;
    // The decoder of animated PNG pictures unpacks all data of the file.
    const AVCodec* decoder = kind == AV_CODEC_ID_APNG ? nullptr : avcodec_find_decoder(kind);
    if (!decoder)
        return failure(input, std::string("no decoder for ") + avcodec_get_name(kind));
    codec_.reset(avcodec_alloc_context3(decoder));
    if (const int code = avcodec_parameters_to_context(codec_.get(), track_->codecpar); code < 0)
        return failure(input, messageOf(code), code);
    codec_->pkt_timebase = track_->time_base;
    codec_->max_pixels = static_cast<std::int64_t>(maximumPixels);
    // One thread decodes 1080p several times faster than it plays; more of them delay the first frame.
    codec_->thread_count = std::int64_t{codec_->width} * codec_->height > pixelsForOneThread ? 2 : 1;
    if (const int code = avcodec_open2(codec_.get(), decoder, nullptr); code < 0)
        return failure(input, messageOf(code), code);
    return {};
}

TrackDecoder::Step TrackDecoder::next()
{
    for (;;) {
        const int code = takeFrame();
        if (code == 0)
            return Step::frame;
        if (code == AVERROR_EOF)
            return Step::end;
        if (const Step step = feed(); step != Step::frame)
            return step;
    }
}

/// Returns what avcodec_receive_frame returns.
int TrackDecoder::takeFrame()
{
    if (!pngFrame_)
        return avcodec_receive_frame(codec_.get(), frame_.get());
    frame_ = std::move(pngFrame_);
    return 0;
}

/// Sends the next packet to the decoder.
TrackDecoder::Step TrackDecoder::feed()
{
    const int code = readPacket();
    if (code == AVERROR(EAGAIN))
        return Step::again;
    if (code < 0) {
        // At the end, or after an error, the decoder still delivers buffered frames.
        if (std::exchange(isDraining_, true))
            return Step::end;
        avcodec_send_packet(codec_.get(), nullptr);
        return Step::frame;
    }
    if (packet_->stream_index == track_->index)
        send();
    av_packet_unref(packet_.get());
    return Step::frame;
}

int TrackDecoder::readPacket()
{
    if (!BlockingReads::areNeededFor(*container_))
        return av_read_frame(container_.get(), packet_.get());
    if (!reads_)
        reads_ = std::make_unique<BlockingReads>(container_);
    return reads_->read(*packet_);
}

/// Packets that the decoder refuses are skipped, and so are encrypted ones, which would decode to noise.
void TrackDecoder::send()
{
    std::size_t size = 0;
    if (av_packet_get_side_data(packet_.get(), AV_PKT_DATA_ENCRYPTION_INFO, &size))
        return;
    const auto bytes = std::as_bytes(std::span(packet_->data, static_cast<std::size_t>(packet_->size)));
    if (codec_->codec_id == AV_CODEC_ID_PNG)
        pngFrame_ = decodePngFrame(*packet_);
    else if (codec_->codec_id != AV_CODEC_ID_MJPEG || !hasTooManyScans(bytes))
        avcodec_send_packet(codec_.get(), packet_.get());
}

bool TrackDecoder::seek(int track, std::int64_t position, int flags)
{
    if (av_seek_frame(container_.get(), track, position, flags) < 0)
        return false;
    avcodec_flush_buffers(codec_.get());
    isDraining_ = false;
    return true;
}

} // namespace tamsel::host
