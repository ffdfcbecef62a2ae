#pragma once

#include <engine/capture/MicrophoneDriver.h>

#include <expected>
#include <memory>
#include <string>
#include <string_view>

namespace tamsel::host {

class ReaderThreads;

/// Generates a continuous sine, or a beep of 1 kHz and 50 ms each second from its start.
class ToneMicrophone final : public engine::MicrophoneDriver {
public:
    /// "tone", "tone@HERTZ" or "beeps"; the error is one line.
    [[nodiscard]] static std::expected<std::shared_ptr<ToneMicrophone>, platform::Error> make(
        std::string_view name, ReaderThreads& readers);

    ToneMicrophone(std::string name, double frequency, bool beeps, ReaderThreads& readers);

    [[nodiscard]] std::string uniqueID() const override { return name_; }
    [[nodiscard]] std::string name() const override { return name_; }
    [[nodiscard]] bool isPresent() const override { return true; }
    [[nodiscard]] std::expected<std::unique_ptr<engine::SoundStream>, platform::Error> start(
        std::shared_ptr<engine::SoundSink> sink) override;

private:
    const std::string name_;
    const double frequency_;
    const bool beeps_;
    ReaderThreads& readers_;
};

} // namespace tamsel::host
