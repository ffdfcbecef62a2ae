#pragma once

#include <engine/capture/MicrophoneDriver.h>
#include <engine/capture/MovieServices.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/Dispatch.h>

#include <atomic>
#include <memory>

namespace tamsel::engine {

class MovieFileOutput;

/// Delivers the sound of one start from the microphone to the movie output. The microphone is started on the global
/// queue, so that a slow one blocks nothing; until it runs a recording is silent. Thread-safe.
class SessionSound final : public SoundSink, public std::enable_shared_from_this<SessionSound> {
public:
    /// Posts the start of the microphone and returns at once.
    [[nodiscard]] static std::shared_ptr<SessionSound> start(std::shared_ptr<MicrophoneDriver> microphone,
        std::shared_ptr<MovieFileOutput> output, const MovieServices& services);

    SessionSound(std::shared_ptr<MovieFileOutput> output, std::function<void(const platform::Error&)> report);
    ~SessionSound() override;

    void deliver(SoundChunk chunk) override;
    void lose(const platform::Error& reason) override;

    /// Delivers nothing from now on, and requests the end of the microphone's stream.
    void close();

private:
    void run(MicrophoneDriver& microphone);

    const std::shared_ptr<MovieFileOutput> output_;
    const std::function<void(const platform::Error&)> report_;
    std::atomic<bool> isClosed_ = false;

    Mutex guard_;
    std::unique_ptr<SoundStream> stream_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
