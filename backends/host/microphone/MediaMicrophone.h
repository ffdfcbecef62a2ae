#pragma once

#include <host/microphone/HostMicrophone.h>

namespace tamsel::host {

/// The sound of a file, a stream or a device that the FFmpeg libraries open, read on a thread of its own for each start.
class MediaMicrophone final : public engine::MicrophoneDriver {
public:
    MediaMicrophone(std::string input, MicrophoneServices services);

    [[nodiscard]] std::string uniqueID() const override { return input_; }
    [[nodiscard]] std::string name() const override { return input_; }
    [[nodiscard]] bool isPresent() const override;
    [[nodiscard]] std::expected<std::unique_ptr<engine::SoundStream>, platform::Error> start(
        std::shared_ptr<engine::SoundSink> sink) override;

private:
    const std::string input_;
    const MicrophoneServices services_;
};

} // namespace tamsel::host
