#pragma once

#include <engine/capture/MicrophoneDriver.h>

#include <expected>
#include <memory>
#include <string>
#include <utility>

namespace tamsel::host {

class ReaderThreads;

/// A microphone of a PipeWire daemon, with a connection on a thread of its own for each start. It counts as present while
/// there is a daemon.
class PipeWireMicrophone final : public engine::MicrophoneDriver {
public:
    /// The input names the node; "pipewire:" alone is the daemon's default source, also when that changes.
    PipeWireMicrophone(std::string input, ReaderThreads& readers)
        : input_(std::move(input)),
          readers_(readers)
    {
    }

    /// Looks for the node. The error is one line that names the input. May wait for the daemon.
    [[nodiscard]] static std::expected<void, platform::Error> probe(const std::string& input);

    [[nodiscard]] std::string uniqueID() const override { return input_; }
    [[nodiscard]] std::string name() const override { return input_; }
    [[nodiscard]] bool isPresent() const override;
    [[nodiscard]] std::expected<std::unique_ptr<engine::SoundStream>, platform::Error> start(
        std::shared_ptr<engine::SoundSink> sink) override;

private:
    const std::string input_;
    ReaderThreads& readers_;
};

} // namespace tamsel::host
