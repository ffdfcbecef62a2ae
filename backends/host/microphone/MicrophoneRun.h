#pragma once

#include <host/StopSignal.h>

#include <engine/capture/MicrophoneDriver.h>

#include <expected>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace tamsel::host {

class ReaderThreads;

/// One start of a microphone, shared by the thread that reads the sound and by its stream. Thread-safe.
class MicrophoneRun final : public StopSignal {
public:
    explicit MicrophoneRun(std::shared_ptr<engine::SoundSink> sink) : sink_(std::move(sink)) { }

    [[nodiscard]] engine::SoundSink& sink() const { return *sink_; }

private:
    const std::shared_ptr<engine::SoundSink> sink_;
};

/// Runs `hear` on a reader thread. The stream stops its run when it is released. The error is one line with the name.
[[nodiscard]] std::expected<std::unique_ptr<engine::SoundStream>, platform::Error> startMicrophone(
    const std::string& name, ReaderThreads& readers, std::shared_ptr<engine::SoundSink> sink,
    std::function<void(MicrophoneRun&)> hear);

} // namespace tamsel::host
