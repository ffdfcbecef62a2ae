#include <host/microphone/MediaMicrophone.h>

#include <host/microphone/DeviceClock.h>
#include <host/microphone/MicrophoneRun.h>
#include <host/microphone/SoundReader.h>

#include <engine/dispatch/monotonicNow.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace tamsel::host {

using namespace std::chrono_literals;
using engine::monotonicNow;
using engine::SoundChunk;
using platform::Error;
using std::chrono::nanoseconds;

namespace {

constexpr nanoseconds pauseBetweenTries = 5ms;
/// Between reads of the camera's clock, which is set one frame ahead.
constexpr nanoseconds pauseBetweenLooks = 20ms;
/// If it is further behind, it continues at the current time.
constexpr nanoseconds longDelay = 200ms;
/// Devices use the wall clock for their timestamps; those of other inputs are further from it than this.
constexpr nanoseconds nearWallClock = 1h;
constexpr std::size_t channels = SoundChunk::channelCount;

std::size_t samplesIn(nanoseconds duration)
{
    return static_cast<std::size_t>(
               std::max<std::int64_t>(0, duration.count()) * SoundChunk::sampleRate / 1'000'000'000)
        * channels;
}

/// Plays the sound of a file in sync with the camera that plays its pictures.
void followCamera(MicrophoneRun& run, SoundReader& reader, const PlaybackClock& clock)
{
    std::optional<PlaybackClock::Loop> current;
    bool hasSound = false;
    const nanoseconds begin = monotonicNow();
    while (!*run.isStopped()) {
        const std::optional<PlaybackClock::Loop> loop = clock.loop();
        const bool isSame = loop && current && loop->run == current->run && loop->number == current->number;
        if (loop && isSame) {
            current = loop; // it may have moved
            if (!hasSound)
                hasSound = reader.next() == SoundReader::Step::frame;
        }
        const nanoseconds due = hasSound && current ? current->zero + reader.time() : nanoseconds::max();
        const bool hasBegunAnew
            = loop && !isSame && (!current || loop->run != current->run || due >= loop->zero);
        if (hasBegunAnew) {
            if (current && !reader.rewind()) {
                run.sink().lose({.localizedDescription = "the sound cannot be played again"});
                return;
            }
            current = loop;
            hasSound = false;
            continue;
        }
        if (!loop || !hasSound || due > monotonicNow()) {
            const nanoseconds next = monotonicNow() + pauseBetweenLooks;
            if (!run.waitUntil(std::min(due, next)))
                return;
            continue;
        }
        SoundChunk chunk{.samples = reader.samples(), .captureTime = due};
        if (!isSame) // the end of the previous loop
            chunk.samples.resize(std::min(chunk.samples.size(), samplesIn(loop->zero - due)));
        hasSound = false;
        const bool isFromBefore = due + chunk.duration() <= begin;
        if (!chunk.samples.empty() && !isFromBefore)
            run.sink().deliver(std::move(chunk));
    }
}

/// At the pace of its timestamps, in a loop if it can be rewound; a device at the pace of the device.
void play(MicrophoneRun& run, SoundReader& reader)
{
    std::optional<nanoseconds> zero; ///< when the input's time zero is due
    nanoseconds end{};
    DeviceClock device;
    bool hasSound = false;
    for (;;) {
        const SoundReader::Step step = reader.next();
        if (*run.isStopped())
            return;
        if (step == SoundReader::Step::again) {
            if (!run.waitUntil(monotonicNow() + pauseBetweenTries))
                return;
            continue;
        }
        if (step == SoundReader::Step::end) {
            if (!std::exchange(hasSound, false) || !reader.rewind()) {
                run.sink().lose({.localizedDescription = "the sound has ended"});
                return;
            }
            if (reader.next() != SoundReader::Step::frame) {
                run.sink().lose({.localizedDescription = "the sound cannot be played again"});
                return;
            }
            zero = end - reader.time();
        }
        hasSound = true;
        const nanoseconds now = monotonicNow();
        const auto wall = std::chrono::system_clock::now().time_since_epoch();
        const nanoseconds age = wall - reader.time();
        SoundChunk chunk{.samples = reader.samples(), .captureTime = {}};
        if (std::chrono::abs(age) < nearWallClock) {
            chunk.captureTime = device.place(age, chunk.duration());
        } else {
            if (!zero || now - (*zero + reader.time()) > longDelay)
                zero = now - reader.time();
            chunk.captureTime = *zero + reader.time();
            if (!run.waitUntil(chunk.captureTime))
                return;
        }
        end = chunk.captureTime + chunk.duration();
        run.sink().deliver(std::move(chunk));
    }
}

} // namespace

MediaMicrophone::MediaMicrophone(std::string input, MicrophoneServices services)
    : input_(std::move(input)),
      services_(std::move(services))
{
}

bool MediaMicrophone::isPresent() const
{
    return MediaInput(input_).access() == InputAccess::readable;
}

std::expected<std::unique_ptr<engine::SoundStream>, Error> MediaMicrophone::start(
    std::shared_ptr<engine::SoundSink> sink)
{
    return startMicrophone(input_, services_.readers, std::move(sink),
        [input = input_, clock = services_.camera](MicrophoneRun& run) {
            const auto reader = SoundReader::open(input, {.isCancelled = run.isStopped()});
            if (*run.isStopped())
                return;
            if (!reader)
                run.sink().lose(reader.error());
            else if (clock)
                followCamera(run, **reader, *clock);
            else
                play(run, **reader);
        });
}

} // namespace tamsel::host
