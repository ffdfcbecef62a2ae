#include <host/pipewire/PipeWireSoundStream.h>

#include <host/microphone/limitSamples.h>

#include <engine/dispatch/monotonicNow.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <utility>

namespace tamsel::host {

using engine::SoundChunk;
using platform::Error;
using std::chrono::nanoseconds;

namespace {

/// Sound that is recorded may come late, so that a busy machine has time to take it. Other programs may want it earlier.
constexpr const char* latency = "4096/48000";

} // namespace

std::expected<std::unique_ptr<PipeWireSoundStream>, Error> PipeWireSoundStream::start(
    std::string name, FoundNode found, bool isChosenByManager, const PipeWireWait& wait)
{
    std::unique_ptr<PipeWireSoundStream> stream(
        new PipeWireSoundStream(std::move(name), std::move(found.connection),
            isChosenByManager ? std::nullopt : std::optional(std::move(found.node))));
    if (stream->connect(
            {{PW_KEY_MEDIA_TYPE, "Audio"}, {PW_KEY_MEDIA_ROLE, "Production"}, {PW_KEY_NODE_LATENCY, latency}},
            PW_STREAM_FLAG_MAP_BUFFERS, std::array{PipeWirePod::sound()}, wait))
        return stream;
    return std::unexpected(stream->startError());
}

void PipeWireSoundStream::play(MicrophoneRun& run)
{
    std::optional<Error> reason;
    const auto deliver = [&] {
        std::vector<SoundChunk> chunks;
        {
            const MutexLock lock(guard_);
            chunks.swap(waiting_);
        }
        for (SoundChunk& chunk : chunks) {
            limitSamples(chunk.samples);
            run.sink().deliver(std::move(chunk));
        }
        reason = loss();
        return reason.has_value();
    };
    const PipeWireWait untilStopped{.end = std::chrono::steady_clock::time_point::max(),
        .isUnwanted = [&] { return run.isStopped()->load(); }};
    if (!connection().runUntil(deliver, untilStopped))
        reason = loss(); // the connection has ended
    if (reason && !*run.isStopped())
        run.sink().lose(*reason);
}

void PipeWireSoundStream::takeBuffer()
{
    pw_buffer* buffer = pw_stream_dequeue_buffer(stream());
    if (!buffer)
        return;
    const spa_data& block = buffer->buffer->datas[0];
    const std::uint32_t offset = std::min(block.chunk->offset, block.maxsize);
    const std::uint32_t size = block.data ? std::min(block.chunk->size, block.maxsize - offset) : 0;
    constexpr std::size_t channels = SoundChunk::channelCount;
    SoundChunk chunk{.samples = std::vector<float>(size / (channels * sizeof(float)) * channels)};
    if (!chunk.samples.empty()) {
        std::memcpy(chunk.samples.data(), static_cast<const std::byte*>(block.data) + offset,
            chunk.samples.size() * sizeof(float));
        chunk.captureTime = clock_.place(ageOfSound(), chunk.duration());
        const MutexLock lock(guard_);
        waiting_.push_back(std::move(chunk));
    }
    pw_stream_queue_buffer(stream(), buffer);
}

/// How long ago the first sample of the newest buffer was captured; too little where the device does not say.
nanoseconds PipeWireSoundStream::ageOfSound() const
{
    pw_time time{};
    if (pw_stream_get_time_n(stream(), &time, sizeof time) < 0 || time.rate.denom == 0)
        return {};
    const nanoseconds delay = std::chrono::seconds(1) * time.delay * time.rate.num / time.rate.denom;
    // A program that drives its own sound states no time of its cycle: then the buffer has just come.
    return delay + (time.now > 0 ? engine::monotonicNow() - nanoseconds(time.now) : nanoseconds());
}

} // namespace tamsel::host
