#pragma once

#include <tamsel/platform/Error.h>

#include <chrono>
#include <cstddef>
#include <expected>
#include <memory>
#include <string>
#include <vector>

namespace tamsel::engine {

/// A piece of sound: 48 000 samples a second by the microphone's own clock, two channels, interleaved, from -1 to 1.
struct SoundChunk {
    static constexpr int sampleRate = 48'000;
    static constexpr int channelCount = 2;

    std::vector<float> samples; ///< `channelCount` for each sample time
    /// The capture time of the first sample, on the platform's monotonic clock.
    std::chrono::nanoseconds captureTime{};

    /// In sample times: the number of samples of one channel.
    [[nodiscard]] std::size_t length() const { return samples.size() / channelCount; }
    [[nodiscard]] std::chrono::nanoseconds duration() const
    {
        return std::chrono::nanoseconds(std::chrono::seconds(1)) * length() / sampleRate;
    }
};

/// Receives a microphone's sound. A sink serves one start; after the end of the stream every call is ignored. Chunks come
/// from one thread at a time and in order.
class SoundSink {
public:
    virtual ~SoundSink() = default;

    /// The next sound.
    virtual void deliver(SoundChunk chunk) = 0;
    /// The microphone is gone: no more sound will come.
    virtual void lose(const platform::Error& reason) = 0;
};

/// One start of a microphone. Its destructor requests the end and does not wait; the sink ignores later calls.
class SoundStream {
public:
    virtual ~SoundStream() = default;
};

/// The microphone of a back end. Thread-safe.
class MicrophoneDriver {
public:
    virtual ~MicrophoneDriver() = default;

    /// Unique and constant.
    [[nodiscard]] virtual std::string uniqueID() const = 0;
    /// For people.
    [[nodiscard]] virtual std::string name() const = 0;
    /// False for a device that is not, or no longer, connected. Returns at once.
    [[nodiscard]] virtual bool isPresent() const = 0;

    /// Starts to fill the sink; several streams may run at a time. May take as long as the device needs to start.
    [[nodiscard]] virtual std::expected<std::unique_ptr<SoundStream>, platform::Error> start(
        std::shared_ptr<SoundSink> sink)
        = 0;
};

} // namespace tamsel::engine
