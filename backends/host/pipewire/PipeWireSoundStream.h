#pragma once

#include <host/microphone/DeviceClock.h>
#include <host/microphone/MicrophoneRun.h>
#include <host/pipewire/PipeWireStream.h>
#include <host/pipewire/pipeWireInputs.h>

#include <engine/capture/MicrophoneDriver.h>

#include <tamsel/Mutex.h>

#include <chrono>
#include <expected>
#include <memory>
#include <string>
#include <vector>

namespace tamsel::host {

/// One start of a microphone, used by one thread. The library's thread takes each buffer as it comes.
class PipeWireSoundStream final : public PipeWireStream {
public:
    /// Returns once sound can come: that of the node, or of a node that the session manager chooses. The name is for errors.
    [[nodiscard]] static std::expected<std::unique_ptr<PipeWireSoundStream>, platform::Error> start(
        std::string name, FoundNode found, bool isChosenByManager, const PipeWireWait& wait);

    ~PipeWireSoundStream() override { disconnect(); }
    PipeWireSoundStream(const PipeWireSoundStream&) = delete;
    PipeWireSoundStream& operator=(const PipeWireSoundStream&) = delete;

    /// Delivers the sound to the run until that is stopped, or the microphone is lost, which it reports.
    void play(MicrophoneRun& run);

private:
    using PipeWireStream::PipeWireStream;

    // On the library's thread.
    void takeBuffer() override;
    [[nodiscard]] std::chrono::nanoseconds ageOfSound() const;

    DeviceClock clock_; ///< used on the library's thread only

    Mutex guard_;
    std::vector<engine::SoundChunk> waiting_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::host
