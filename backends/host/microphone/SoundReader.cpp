#include <host/microphone/SoundReader.h>

#include <host/movie/movieFailure.h>

#include <engine/capture/MicrophoneDriver.h>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <utility>

namespace tamsel::host {

using engine::SoundChunk;
using platform::Error;
using std::chrono::nanoseconds;

namespace {

constexpr std::int64_t second = 1'000'000'000;

} // namespace

void SoundReader::FreeResampler::operator()(SwrContext* context) const
{
    swr_free(&context);
}

std::expected<std::unique_ptr<SoundReader>, Error> SoundReader::open(
    const std::string& input, const MovieWait& wait)
{
    std::unique_ptr<SoundReader> reader(new SoundReader(input));
    if (auto opened = reader->openInput(wait); !opened)
        return std::unexpected(std::move(opened.error()));
    return reader;
}

SoundReader::SoundReader(std::string input) : input_(std::move(input)) { }

SoundReader::~SoundReader() = default;

std::expected<void, Error> SoundReader::openInput(const MovieWait& wait)
{
    auto opened = openMovie(input_, MovieFormats::any, wait);
    if (!opened)
        return std::unexpected(std::move(opened.error()));
    container_ = std::move(*opened);
    const AVCodec* decoder = nullptr;
    track_ = av_find_best_stream(container_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (track_ < 0)
        return failure(input_, "there is no sound in it");
    for (unsigned index = 0; index < container_->nb_streams; ++index) {
        if (static_cast<int>(index) != track_)
            container_->streams[index]->discard = AVDISCARD_ALL;
    }
    const AVStream& stream = *container_->streams[track_];
    codec_.reset(avcodec_alloc_context3(decoder));
    if (const int code = avcodec_parameters_to_context(codec_.get(), stream.codecpar); code < 0)
        return failure(input_, messageOf(code), code);
    codec_->pkt_timebase = stream.time_base;
    codec_->thread_count = 1;
    if (const int code = avcodec_open2(codec_.get(), decoder, nullptr); code < 0)
        return failure(input_, messageOf(code), code);
    isDraining_ = false;
    resampler_.reset();
    return {};
}

/// Gives the decoder one more packet.
SoundReader::Step SoundReader::feed()
{
    const int code = av_read_frame(container_.get(), packet_.get());
    if (code == AVERROR(EAGAIN))
        return Step::again;
    if (code < 0) {
        if (std::exchange(isDraining_, true))
            return Step::end;
        avcodec_send_packet(codec_.get(), nullptr);
        return Step::sound;
    }
    if (packet_->stream_index == track_)
        avcodec_send_packet(codec_.get(), packet_.get()); // one that is refused is left out
    av_packet_unref(packet_.get());
    return Step::sound;
}

SoundReader::Step SoundReader::next()
{
    for (;;) {
        const int received = avcodec_receive_frame(codec_.get(), frame_.get());
        if (received == 0) {
            if (convert())
                return Step::sound;
            continue;
        }
        if (received == AVERROR_EOF)
            return Step::end;
        if (const Step fed = feed(); fed != Step::sound)
            return fed;
    }
}

bool SoundReader::prepareResampler()
{
    if (resampler_ && frame_->format == format_ && frame_->sample_rate == rate_
        && frame_->ch_layout.nb_channels == channels_)
        return true;
    AVChannelLayout stereo{};
    av_channel_layout_default(&stereo, SoundChunk::channelCount);
    AVChannelLayout given{};
    if (frame_->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&given, frame_->ch_layout.nb_channels);
    else
        av_channel_layout_copy(&given, &frame_->ch_layout);
    SwrContext* context = nullptr;
    const int code = swr_alloc_set_opts2(&context, &stereo, AV_SAMPLE_FMT_FLT, SoundChunk::sampleRate, &given,
        static_cast<AVSampleFormat>(frame_->format), frame_->sample_rate, 0, nullptr);
    av_channel_layout_uninit(&given);
    resampler_.reset(context);
    av_opt_set_double(context, "rematrix_maxval", 1, 0); // many channels together must not be too loud
    format_ = frame_->format;
    rate_ = frame_->sample_rate;
    channels_ = frame_->ch_layout.nb_channels;
    // One channel sounds on both sides as loud as it is, and not as half of a pair.
    constexpr std::array<double, 2> both{1, 1};
    if (code < 0 || (channels_ == 1 && swr_set_matrix(context, both.data(), 1) < 0)
        || swr_init(context) < 0) {
        resampler_.reset();
        return false;
    }
    return true;
}

/// The decoded frame as samples; false when it gives none.
bool SoundReader::convert()
{
    if (!prepareResampler())
        return false;
    const AVRational base = container_->streams[track_]->time_base;
    const std::int64_t stamp = frame_->best_effort_timestamp;
    const nanoseconds begin = stamp == AV_NOPTS_VALUE
        ? end_
        : nanoseconds(av_rescale_q(stamp, base, AVRational{1, static_cast<int>(second)}));
    time_ = begin - nanoseconds(swr_get_delay(resampler_.get(), second));
    end_ = begin + nanoseconds(second * frame_->nb_samples / std::max(1, frame_->sample_rate));

    const int room = swr_get_out_samples(resampler_.get(), frame_->nb_samples);
    samples_.resize(static_cast<std::size_t>(std::max(0, room)) * SoundChunk::channelCount);
    auto* out = reinterpret_cast<std::uint8_t*>(samples_.data());
    const int count = swr_convert(resampler_.get(), &out, room,
        const_cast<const std::uint8_t**>(frame_->extended_data), frame_->nb_samples);
    samples_.resize(static_cast<std::size_t>(std::max(0, count)) * SoundChunk::channelCount);
    for (float& sample : samples_)
        sample = std::isfinite(sample) ? std::clamp(sample, -1.0F, 1.0F) : 0.0F;
    return count > 0;
}

bool SoundReader::rewind()
{
    if (movieKindOf(input_) != MovieKind::file)
        return false;
    resampler_.reset();
    isDraining_ = false;
    end_ = {};
    // Sound that has been sought to begins elsewhere in an Ogg file.
    const bool isOgg = std::string_view(container_->iformat->name) == "ogg";
    const AVStream& stream = *container_->streams[track_];
    const std::int64_t start = stream.start_time == AV_NOPTS_VALUE ? 0 : stream.start_time;
    if (isOgg || av_seek_frame(container_.get(), track_, start, AVSEEK_FLAG_BACKWARD) < 0)
        return openInput({}).has_value(); // a file
    avcodec_flush_buffers(codec_.get());
    return true;
}

} // namespace tamsel::host
