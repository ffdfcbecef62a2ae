#pragma once

#include <engine/capture/MicrophoneDriver.h>
#include <engine/dispatch/monotonicNow.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::tests {

inline double secondsOf(std::chrono::nanoseconds time)
{
    return std::chrono::duration<double>(time).count();
}

/// Keeps what it hears.
class Ear final : public engine::SoundSink {
public:
    void deliver(engine::SoundChunk chunk) override
    {
        const std::lock_guard lock(guard_);
        youngest_ = std::min(youngest_, engine::monotonicNow() - chunk.captureTime);
        chunks_.push_back(std::move(chunk));
    }
    void lose(const platform::Error& reason) override
    {
        const std::lock_guard lock(guard_);
        reason_ = reason.localizedDescription;
        ++losses;
    }
    [[nodiscard]] std::string reason() const
    {
        const std::lock_guard lock(guard_);
        return reason_;
    }

    [[nodiscard]] std::vector<engine::SoundChunk> chunks() const
    {
        const std::lock_guard lock(guard_);
        return chunks_;
    }
    [[nodiscard]] std::chrono::nanoseconds heard() const
    {
        std::chrono::nanoseconds length{};
        for (const engine::SoundChunk& chunk : chunks())
            length += chunk.duration();
        return length;
    }
    /// The smallest age of a chunk when it came, from its first sample on.
    [[nodiscard]] std::chrono::nanoseconds youngest() const
    {
        const std::lock_guard lock(guard_);
        return youngest_;
    }
    /// When sound begins after at least 0.3 s of silence.
    [[nodiscard]] std::vector<double> beeps() const
    {
        std::vector<double> times;
        double lastLoud = -1e9;
        for (const engine::SoundChunk& chunk : chunks()) {
            for (std::size_t at = 0; at < chunk.length(); ++at) {
                const double time
                    = secondsOf(chunk.captureTime) + static_cast<double>(at) / engine::SoundChunk::sampleRate;
                if (std::abs(chunk.samples[at * 2]) < 0.05F)
                    continue;
                if (time - lastLoud > 0.3)
                    times.push_back(time);
                lastLoud = time;
            }
        }
        return times;
    }
    /// The largest step between where a chunk ends and the next one begins.
    [[nodiscard]] double worstStep() const
    {
        double worst = 0;
        const std::vector<engine::SoundChunk> heard = chunks();
        for (std::size_t at = 1; at < heard.size(); ++at) {
            const double end = secondsOf(heard[at - 1].captureTime)
                + static_cast<double>(heard[at - 1].length()) / engine::SoundChunk::sampleRate;
            worst = std::max(worst, std::abs(secondsOf(heard[at].captureTime) - end));
        }
        return worst;
    }

    std::atomic<int> losses = 0;

private:
    mutable std::mutex guard_;
    std::vector<engine::SoundChunk> chunks_;
    std::string reason_;
    std::chrono::nanoseconds youngest_ = std::chrono::nanoseconds::max();
};

/// Of all that was heard.
inline float loudest(const Ear& ear)
{
    float peak = 0;
    for (const engine::SoundChunk& chunk : ear.chunks()) {
        for (const float sample : chunk.samples)
            peak = std::max(peak, std::abs(sample));
    }
    return peak;
}

/// By how often the sound crosses zero.
inline double frequencyOf(const Ear& ear)
{
    std::size_t crossings = 0;
    std::size_t samples = 0;
    float before = 0;
    for (const engine::SoundChunk& chunk : ear.chunks()) {
        for (std::size_t at = 0; at < chunk.length(); ++at, ++samples) {
            crossings += (chunk.samples[at * 2] > 0) != (before > 0) ? 1 : 0;
            before = chunk.samples[at * 2];
        }
    }
    return static_cast<double>(crossings) / 2
        / (static_cast<double>(samples) / engine::SoundChunk::sampleRate);
}

} // namespace tamsel::tests
