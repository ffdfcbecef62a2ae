#include <simulated/SimulatedMicrophone.h>

#include <simulated/Scheduler.h>

#include <algorithm>
#include <utility>

namespace tamsel::simulated {

using engine::SoundChunk;
using platform::Error;
using std::chrono::nanoseconds;

namespace {

Error gone()
{
    return {.localizedDescription = "the simulated microphone is not there", .code = 19};
}

} // namespace

/// One start, until its stream is released.
struct SimulatedMicrophone::Listener {
    std::shared_ptr<engine::SoundSink> sink;
    nanoseconds begin{};
    std::uint64_t chunks = 0;
    std::uint64_t heard = 0; ///< in samples of the microphone's clock
};

class SimulatedMicrophone::Stream final : public engine::SoundStream {
public:
    explicit Stream(std::shared_ptr<Listener> listener) : listener_(std::move(listener)) { }

private:
    const std::shared_ptr<Listener> listener_;
};

SimulatedMicrophone::SimulatedMicrophone(MicrophoneScript script, Scheduler& scheduler)
    : script_(std::move(script)),
      scheduler_(scheduler)
{
}

SimulatedMicrophone::~SimulatedMicrophone() = default;

bool SimulatedMicrophone::isStarted() const
{
    return std::ranges::any_of(listeners_, [](const auto& listener) { return !listener.expired(); });
}

void SimulatedMicrophone::unplug()
{
    script_.isPresent = false;
    for (const std::weak_ptr<Listener>& weak : std::exchange(listeners_, {})) {
        if (const std::shared_ptr<Listener> listener = weak.lock())
            std::exchange(listener->sink, nullptr)->lose(gone());
    }
}

std::expected<std::unique_ptr<engine::SoundStream>, Error> SimulatedMicrophone::start(
    std::shared_ptr<engine::SoundSink> sink)
{
    scheduler_.spend(script_.timeToStart);
    if (!script_.isPresent)
        return std::unexpected(gone());
    const auto listener = std::make_shared<Listener>(std::move(sink), scheduler_.monotonic());
    std::erase_if(listeners_, [](const std::weak_ptr<Listener>& ended) { return ended.expired(); });
    listeners_.push_back(listener);
    plan(listener, listener->begin);
    return std::make_unique<Stream>(listener);
}

void SimulatedMicrophone::plan(const std::shared_ptr<Listener>& listener, nanoseconds previous)
{
    const nanoseconds time = previous + script_.chunkInterval;
    scheduler_.at(time, "microphone", [weakSelf = weak_from_this(), weak = std::weak_ptr(listener), time] {
        const std::shared_ptr<SimulatedMicrophone> self = weakSelf.lock();
        const std::shared_ptr<Listener> running = weak.lock();
        if (!self || !running || !running->sink)
            return;
        self->plan(running, time);
        running->sink->deliver(self->hear(*running));
    });
}

/// All sound since the previous chunk.
SoundChunk SimulatedMicrophone::hear(Listener& listener) const
{
    const double rate = SoundChunk::sampleRate * (1 + script_.clockError * 1e-6);
    const double begin = std::chrono::duration<double>(listener.begin).count();
    const double elapsed = std::chrono::duration<double>(scheduler_.monotonic() - listener.begin).count();
    const auto end = static_cast<std::uint64_t>(elapsed * rate);

    SoundChunk chunk;
    chunk.captureTime = listener.begin
        + nanoseconds(static_cast<std::int64_t>(static_cast<double>(listener.heard) / rate * 1e9));
    if (script_.jitter)
        chunk.captureTime += script_.jitter(listener.chunks);
    ++listener.chunks;
    chunk.samples.reserve((end - listener.heard) * SoundChunk::channelCount);
    for (; listener.heard < end; ++listener.heard) {
        const float sample
            = script_.sound ? script_.sound(begin + static_cast<double>(listener.heard) / rate) : 0.0F;
        chunk.samples.insert(chunk.samples.end(), SoundChunk::channelCount, sample);
    }
    return chunk;
}

} // namespace tamsel::simulated
