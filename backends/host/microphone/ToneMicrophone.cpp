#include <host/microphone/ToneMicrophone.h>

#include <host/ReaderThreads.h>
#include <host/microphone/MicrophoneRun.h>

#include <engine/dispatch/monotonicNow.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <utility>

namespace tamsel::host {

using engine::SoundChunk;
using platform::Error;
using std::chrono::nanoseconds;

namespace {

constexpr double concertPitch = 440; // hertz, ISO 16
constexpr double beepPitch = 1000;
constexpr double highestPitch = 20'000;
constexpr float amplitude = 0.25F;
constexpr std::int64_t rate = SoundChunk::sampleRate;
constexpr std::int64_t chunkLength = rate / 50;
constexpr std::int64_t beepLength = rate / 20;
/// If it is further behind, it continues at the current time.
constexpr nanoseconds longDelay = std::chrono::milliseconds(200);

nanoseconds timeOf(std::int64_t sample)
{
    return nanoseconds(sample * 1'000'000'000 / rate);
}

void run(MicrophoneRun& run, double frequency, bool beeps)
{
    nanoseconds begin = engine::monotonicNow();
    for (std::int64_t sample = 0;; sample += chunkLength) {
        if (!run.waitUntil(begin + timeOf(sample + chunkLength)))
            return;
        const nanoseconds behind = engine::monotonicNow() - (begin + timeOf(sample + chunkLength));
        if (behind > longDelay)
            begin += behind;
        SoundChunk chunk{.samples = {}, .captureTime = begin + timeOf(sample)};
        chunk.samples.reserve(static_cast<std::size_t>(chunkLength) * SoundChunk::channelCount);
        for (std::int64_t at = sample; at < sample + chunkLength; ++at) {
            const double phase
                = 2 * std::numbers::pi * frequency * static_cast<double>(at) / static_cast<double>(rate);
            const bool isHeard = !beeps || at % rate < beepLength;
            const float value = isHeard ? amplitude * static_cast<float>(std::sin(phase)) : 0.0F;
            chunk.samples.insert(chunk.samples.end(), SoundChunk::channelCount, value);
        }
        run.sink().deliver(std::move(chunk));
    }
}

} // namespace

std::expected<std::shared_ptr<ToneMicrophone>, Error> ToneMicrophone::make(
    std::string_view name, ReaderThreads& readers)
{
    constexpr std::string_view tone = "tone";
    std::string whole = std::string("test:").append(name);
    if (name == "beeps")
        return std::make_shared<ToneMicrophone>(std::move(whole), beepPitch, true, readers);
    if (name == tone)
        return std::make_shared<ToneMicrophone>(std::move(whole), concertPitch, false, readers);
    if (name.starts_with("tone@")) {
        const char* begin = name.begin() + tone.size() + 1;
        const char* end = name.end();
        double frequency = 0;
        const auto parsed = std::from_chars(begin, end, frequency);
        if (parsed.ec == std::errc{} && parsed.ptr == end && frequency > 0 && frequency <= highestPitch)
            return std::make_shared<ToneMicrophone>(std::move(whole), frequency, false, readers);
    }
    return std::unexpected(
        Error{.localizedDescription = whole + ": no such sound; test:tone, test:tone@HERTZ, test:beeps are"});
}

ToneMicrophone::ToneMicrophone(std::string name, double frequency, bool beeps, ReaderThreads& readers)
    : name_(std::move(name)),
      frequency_(frequency),
      beeps_(beeps),
      readers_(readers)
{
}

std::expected<std::unique_ptr<engine::SoundStream>, Error> ToneMicrophone::start(
    std::shared_ptr<engine::SoundSink> sink)
{
    return startMicrophone(name_, readers_, std::move(sink),
        [frequency = frequency_, beeps = beeps_](MicrophoneRun& started) { run(started, frequency, beeps); });
}

} // namespace tamsel::host
