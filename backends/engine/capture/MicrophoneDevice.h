#pragma once

#include <engine/capture/MicrophoneDriver.h>

#include <tamsel/platform/AVCaptureDevice.h>

#include <memory>
#include <utility>

namespace tamsel::engine {

/// A microphone driver as a capture device. Thread-safe.
class MicrophoneDevice final : public platform::AVCaptureDevice {
public:
    explicit MicrophoneDevice(std::shared_ptr<MicrophoneDriver> driver) : driver_(std::move(driver)) { }

    [[nodiscard]] const std::shared_ptr<MicrophoneDriver>& driver() const { return driver_; }

    [[nodiscard]] std::string uniqueID() const override { return driver_->uniqueID(); }
    [[nodiscard]] std::string localizedName() const override { return driver_->name(); }
    [[nodiscard]] platform::AVMediaType mediaType() const override { return platform::AVMediaType::audio; }
    [[nodiscard]] platform::AVCaptureDeviceType deviceType() const override
    {
        return platform::AVCaptureDeviceType::builtInMicrophone;
    }
    [[nodiscard]] platform::AVCaptureDevicePosition position() const override
    {
        return platform::AVCaptureDevicePosition::unspecified;
    }
    [[nodiscard]] platform::AVCaptureDeviceFormat activeFormat() const override { return {}; }
    [[nodiscard]] int minimumFocusDistance() const override { return -1; }
    [[nodiscard]] std::expected<void, platform::Error> lockForConfiguration() override { return {}; }
    void unlockForConfiguration() override { }
    [[nodiscard]] double minAvailableVideoZoomFactor() const override { return 1; }
    [[nodiscard]] double maxAvailableVideoZoomFactor() const override { return 1; }
    [[nodiscard]] double videoZoomFactor() const override { return 1; }
    void setVideoZoomFactor(double /*factor*/) override { }
    [[nodiscard]] bool isFlashAvailable() const override { return false; }
    [[nodiscard]] bool hasTorch() const override { return false; }
    void setTorchMode(platform::AVCaptureTorchMode /*mode*/) override { }

private:
    const std::shared_ptr<MicrophoneDriver> driver_;
};

} // namespace tamsel::engine
