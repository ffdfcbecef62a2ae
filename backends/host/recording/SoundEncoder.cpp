#include <host/recording/SoundEncoder.h>

#include <host/ffmpeg/failure.h>

#include <engine/capture/MicrophoneDriver.h>

#include <algorithm>
#include <utility>

namespace tamsel::host {

using engine::SoundChunk;
using platform::Error;

namespace {

constexpr std::int64_t bitRate = 128'000;
constexpr std::size_t channels = SoundChunk::channelCount;

} // namespace

std::expected<std::unique_ptr<SoundEncoder>, Error> SoundEncoder::open(PacketSink sink)
{
    const AVCodec* encoder = avcodec_find_encoder_by_name("aac");
    OwnedCodec codec(encoder ? avcodec_alloc_context3(encoder) : nullptr);
    if (!codec)
        return std::unexpected(Error{.localizedDescription = "there is no encoder for sound"});
    codec->sample_fmt = AV_SAMPLE_FMT_FLTP;
    codec->sample_rate = SoundChunk::sampleRate;
    codec->time_base = {1, SoundChunk::sampleRate};
    codec->bit_rate = bitRate;
    av_channel_layout_default(&codec->ch_layout, SoundChunk::channelCount);
    codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (const int code = avcodec_open2(codec.get(), encoder, nullptr); code < 0)
        return std::unexpected(Error{.localizedDescription = "sound cannot be encoded: " + messageOf(code)});
    return std::unique_ptr<SoundEncoder>(new SoundEncoder(std::move(codec), std::move(sink)));
}

SoundEncoder::SoundEncoder(OwnedCodec codec, PacketSink sink)
    : codec_(std::move(codec)),
      sink_(std::move(sink))
{
}

std::expected<void, Error> SoundEncoder::encode(std::span<const float> samples)
{
    const std::size_t whole = static_cast<std::size_t>(codec_->frame_size) * channels;
    while (!samples.empty()) {
        const auto taken = samples.first(std::min(samples.size(), whole - waiting_.size()));
        waiting_.insert(waiting_.end(), taken.begin(), taken.end());
        samples = samples.subspan(taken.size());
        if (waiting_.size() < whole)
            break;
        if (auto sent = send(whole / channels); !sent)
            return sent;
    }
    return {};
}

std::expected<void, Error> SoundEncoder::send(std::size_t length)
{
    const OwnedFrame frame(av_frame_alloc());
    frame->format = AV_SAMPLE_FMT_FLTP;
    frame->sample_rate = SoundChunk::sampleRate;
    frame->nb_samples = static_cast<int>(length);
    av_channel_layout_default(&frame->ch_layout, SoundChunk::channelCount);
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        return std::unexpected(Error{.localizedDescription = "no memory for sound"});
    for (std::size_t channel = 0; channel < channels; ++channel) {
        auto* plane = reinterpret_cast<float*>(frame->data[channel]);
        for (std::size_t at = 0; at < length; ++at)
            plane[at] = waiting_[at * channels + channel];
    }
    frame->pts = time_;
    time_ += static_cast<std::int64_t>(length);
    waiting_.clear();
    if (const int code = avcodec_send_frame(codec_.get(), frame.get()); code < 0)
        return std::unexpected(Error{.localizedDescription = "sound cannot be encoded: " + messageOf(code)});
    return drainEncoder(*codec_, *packet_, sink_);
}

std::expected<void, Error> SoundEncoder::flush()
{
    if (!waiting_.empty()) {
        if (auto sent = send(waiting_.size() / channels); !sent)
            return sent;
    }
    avcodec_send_frame(codec_.get(), nullptr);
    return drainEncoder(*codec_, *packet_, sink_);
}

} // namespace tamsel::host
