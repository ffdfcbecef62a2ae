#include <host/microphone/SoundReader.h>

#include <host/ffmpeg/failure.h>
#include <host/microphone/limitSamples.h>

#include <engine/capture/MicrophoneDriver.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace tamsel::host {

using engine::SoundChunk;
using platform::Error;
using std::chrono::nanoseconds;

namespace {

constexpr std::int64_t second = 1'000'000'000;

} // namespace

std::expected<std::unique_ptr<SoundReader>, Error> SoundReader::open(
    const std::string& input, const MediaWait& wait)
{
    std::unique_ptr<SoundReader> reader(new SoundReader(input));
    if (auto opened = reader->openInput(wait); !opened)
        return std::unexpected(std::move(opened.error()));
    return reader;
}

std::expected<void, Error> SoundReader::openInput(const MediaWait& wait)
{
    auto container = openMedia(input_, MediaFormats::any, wait);
    if (!container)
        return std::unexpected(std::move(container.error()));
    const AVCodec* decoder = nullptr; // only tracks with a decoder count
    const int track = av_find_best_stream(container->get(), AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (track < 0)
        return failure(input_, "there is no sound in it");
    AVStream* stream = (*container)->streams[track];
    decoder_ = TrackDecoder(std::move(*container), stream);
    resampler_.reset();
    return decoder_.start(input_);
}

SoundReader::Step SoundReader::next()
{
    for (;;) {
        const Step step = decoder_.next();
        if (step != Step::frame || convert())
            return step;
    }
}

bool SoundReader::prepareResampler()
{
    const AVFrame& frame = decoder_.frame();
    if (resampler_ && frame.format == format_ && frame.sample_rate == rate_
        && frame.ch_layout.nb_channels == channels_)
        return true;
    AVChannelLayout stereo{};
    av_channel_layout_default(&stereo, SoundChunk::channelCount);
    AVChannelLayout given{};
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&given, frame.ch_layout.nb_channels);
    else
        av_channel_layout_copy(&given, &frame.ch_layout);
    SwrContext* context = nullptr;
    const int code = swr_alloc_set_opts2(&context, &stereo, AV_SAMPLE_FMT_FLT, SoundChunk::sampleRate, &given,
        static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
    av_channel_layout_uninit(&given);
    resampler_.reset(context);
    av_opt_set_double(context, "rematrix_maxval", 1, 0); // a mix of many channels must not clip
    format_ = frame.format;
    rate_ = frame.sample_rate;
    channels_ = frame.ch_layout.nb_channels;
    // A mono channel keeps its level on both sides.
    constexpr std::array<double, 2> both{1, 1};
    if (code < 0 || (channels_ == 1 && swr_set_matrix(context, both.data(), 1) < 0)
        || swr_init(context) < 0) {
        resampler_.reset();
        return false;
    }
    return true;
}

/// Resamples the decoded frame; false if there are no samples yet.
bool SoundReader::convert()
{
    if (!prepareResampler())
        return false;
    AVFrame& frame = decoder_.frame();
    const AVRational base = decoder_.track()->time_base;
    const std::int64_t stamp = frame.best_effort_timestamp;
    const nanoseconds begin = stamp == AV_NOPTS_VALUE
        ? end_
        : nanoseconds(av_rescale_q(stamp, base, AVRational{1, static_cast<int>(second)}));
    time_ = begin - nanoseconds(swr_get_delay(resampler_.get(), second));
    end_ = begin + nanoseconds(second * frame.nb_samples / std::max(1, frame.sample_rate));

    const int room = swr_get_out_samples(resampler_.get(), frame.nb_samples);
    samples_.resize(static_cast<std::size_t>(std::max(0, room)) * SoundChunk::channelCount);
    auto* out = reinterpret_cast<std::uint8_t*>(samples_.data());
    const int count = swr_convert(resampler_.get(), &out, room,
        const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
    samples_.resize(static_cast<std::size_t>(std::max(0, count)) * SoundChunk::channelCount);
    limitSamples(samples_);
    return count > 0;
}

bool SoundReader::rewind()
{
    if (MediaInput(input_).kind != MediaKind::file)
        return false;
    resampler_.reset();
    end_ = {};
    // A seek in an Ogg file does not reach the first sample.
    const bool isOgg = std::string_view(decoder_.container().iformat->name) == "ogg";
    const std::int64_t start = decoder_.track()->start_time;
    if (!isOgg && decoder_.seek(start == AV_NOPTS_VALUE ? 0 : start))
        return true;
    return openInput({}).has_value(); // a file
}

} // namespace tamsel::host
