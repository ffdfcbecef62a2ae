#pragma once

#include <host/StopSignal.h>

#include <engine/capture/MicrophoneDriver.h>

#include <memory>
#include <utility>

namespace tamsel::host {

/// One start of a microphone, shared by the thread that reads the sound and by its stream. Thread-safe.
class MicrophoneRun final : public StopSignal {
public:
    explicit MicrophoneRun(std::shared_ptr<engine::SoundSink> sink) : sink_(std::move(sink)) { }

    [[nodiscard]] engine::SoundSink& sink() const { return *sink_; }

private:
    const std::shared_ptr<engine::SoundSink> sink_;
};

/// Stops its run when it is released.
class MicrophoneStream final : public engine::SoundStream {
public:
    explicit MicrophoneStream(std::shared_ptr<MicrophoneRun> run) : run_(std::move(run)) { }
    ~MicrophoneStream() override { run_->stop(); }
    MicrophoneStream(const MicrophoneStream&) = delete;
    MicrophoneStream& operator=(const MicrophoneStream&) = delete;

private:
    const std::shared_ptr<MicrophoneRun> run_;
};

} // namespace tamsel::host
