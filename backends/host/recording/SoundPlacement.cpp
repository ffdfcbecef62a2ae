#include <host/recording/SoundPlacement.h>

#include <algorithm>
#include <cmath>

namespace tamsel::host {

using engine::SoundChunk;
using std::chrono::nanoseconds;

namespace {

constexpr std::size_t channels = SoundChunk::channelCount;
constexpr double rate = SoundChunk::sampleRate;
constexpr double largestDrift = 0.030 * rate;
constexpr double smoothing = 1.0 * rate; // of the error, in samples of time
constexpr double correctionTime = 2.0; // seconds
constexpr double fastestCorrection = 0.005 * rate; // samples a second
constexpr std::size_t longestEarly = std::size_t{30} * SoundChunk::sampleRate;
constexpr std::size_t longestReady = std::size_t{60} * SoundChunk::sampleRate;

} // namespace

SoundPlacement::SoundPlacement()
{
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, SoundChunk::channelCount);
    SwrContext* context = nullptr;
    if (swr_alloc_set_opts2(&context, &layout, AV_SAMPLE_FMT_FLT, SoundChunk::sampleRate, &layout,
            AV_SAMPLE_FMT_FLT, SoundChunk::sampleRate, 0, nullptr)
        == 0) {
        av_opt_set_int(context, "flags", SWR_FLAG_RESAMPLE, 0);
        stretcher_.reset(context);
        swr_init(context);
    }
}

void SoundPlacement::begin(nanoseconds origin)
{
    origin_ = origin;
    hasOrigin_ = true;
    for (const SoundChunk& chunk : early_)
        place(chunk);
    early_.clear();
}

void SoundPlacement::add(const SoundChunk& chunk)
{
    if (hasOrigin_) {
        place(chunk);
        return;
    }
    early_.push_back(chunk);
    earlyLength_ += chunk.length();
    while (earlyLength_ > longestEarly) {
        earlyLength_ -= early_.front().length();
        early_.pop_front();
    }
}

void SoundPlacement::place(const SoundChunk& chunk)
{
    const auto length = static_cast<std::int64_t>(chunk.length());
    const double wanted = std::chrono::duration<double>(chunk.captureTime - origin_).count() * rate;
    const auto delay = static_cast<double>(swr_get_delay(stretcher_.get(), SoundChunk::sampleRate));
    const double error = wanted - (static_cast<double>(placed_) + delay);
    std::int64_t skipped = 0;
    if (!isRunning_ || std::abs(error) > largestDrift) {
        restart();
        const auto gap = static_cast<std::int64_t>(std::llround(wanted)) - placed_;
        silence(std::max<std::int64_t>(0, gap));
        skipped = std::clamp<std::int64_t>(-gap, 0, length);
    } else {
        correct(error, chunk.length());
    }
    if (skipped == length)
        return;
    isRunning_ = true;
    stretch(chunk.samples.data() + static_cast<std::size_t>(skipped) * channels,
        static_cast<std::size_t>(length - skipped));
}

/// A first-order loop: the smoothed error is corrected within `correctionTime`.
void SoundPlacement::correct(double error, std::size_t length)
{
    const double weight = std::min(1.0, static_cast<double>(length) / smoothing);
    smoothedError_ += (error - smoothedError_) * weight;
    const double correction
        = std::clamp(smoothedError_ / correctionTime, -fastestCorrection, fastestCorrection);
    swr_set_compensation(stretcher_.get(), static_cast<int>(std::lround(correction)), SoundChunk::sampleRate);
}

void SoundPlacement::stretch(const float* samples, std::size_t length)
{
    const int room = swr_get_out_samples(stretcher_.get(), static_cast<int>(length));
    output_.resize(static_cast<std::size_t>(std::max(0, room)) * channels);
    auto* out = reinterpret_cast<std::uint8_t*>(output_.data());
    const auto* in = reinterpret_cast<const std::uint8_t*>(samples);
    const int count
        = swr_convert(stretcher_.get(), &out, room, samples ? &in : nullptr, static_cast<int>(length));
    if (count <= 0 || ready_.size() > longestReady * channels)
        return; // sound that exceeds the limit leaves a gap
    ready_.insert(ready_.end(), output_.begin(),
        output_.begin() + static_cast<std::ptrdiff_t>(count) * static_cast<std::ptrdiff_t>(channels));
    placed_ += count;
}

/// The next sound is unrelated to the sound before.
void SoundPlacement::restart()
{
    if (isRunning_)
        stretch(nullptr, 0);
    swr_close(stretcher_.get());
    swr_init(stretcher_.get());
    smoothedError_ = 0;
    isRunning_ = false;
}

void SoundPlacement::silence(std::int64_t length)
{
    const auto room
        = static_cast<std::int64_t>(longestReady - std::min(longestReady, ready_.size() / channels));
    const std::int64_t added = std::min(length, room);
    ready_.insert(ready_.end(), static_cast<std::size_t>(added) * channels, 0.0F);
    placed_ += added;
}

std::vector<float> SoundPlacement::take(std::int64_t end)
{
    const std::int64_t count = std::clamp<std::int64_t>(end - taken_, 0, placed_ - taken_);
    const auto last
        = ready_.begin() + static_cast<std::ptrdiff_t>(count) * static_cast<std::ptrdiff_t>(channels);
    std::vector<float> samples(ready_.begin(), last);
    ready_.erase(ready_.begin(), last);
    taken_ += count;
    return samples;
}

std::vector<float> SoundPlacement::takeAll(std::int64_t end)
{
    restart();
    std::vector<float> samples = take(end);
    const std::int64_t missing = std::max<std::int64_t>(0, end - taken_);
    samples.insert(samples.end(), static_cast<std::size_t>(missing) * channels, 0.0F);
    taken_ += missing;
    placed_ = std::max(placed_, taken_);
    return samples;
}

} // namespace tamsel::host
