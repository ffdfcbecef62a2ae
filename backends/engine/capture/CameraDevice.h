#pragma once

#include <engine/capture/CameraDriver.h>
#include <engine/capture/CaptureHook.h>
#include <engine/capture/OperationLock.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

namespace tamsel::engine {

/// The owner of a claim to a device.
class DeviceHolder {
public:
    virtual ~DeviceHolder() = default;

    /// Another holder takes the device over. Called while the device is locked, so it must not call the device.
    virtual void deviceWasTaken() = 0;
    /// The device may not be used any more. Called in the same way.
    virtual void deviceWasLost(const platform::Error& reason) = 0;
};

/// A camera of this machine: its description, and its holder in this process. Thread-safe.
class CameraDevice final : public platform::AVCaptureDevice {
public:
    /// The right of one holder. It lapses when another takes the device over; calls with a lapsed claim have no effect.
    using Claim = std::uint64_t;
    /// A claim without a holder.
    static constexpr Claim noClaim = 0;

    CameraDevice(std::shared_ptr<CameraDriver> driver, std::shared_ptr<CaptureHook> hook,
        std::unique_ptr<OperationLock> operation);

    [[nodiscard]] std::string uniqueID() const override { return driver_->description().uniqueID; }
    [[nodiscard]] std::string localizedName() const override { return driver_->description().name; }
    [[nodiscard]] platform::AVMediaType mediaType() const override { return platform::AVMediaType::video; }
    [[nodiscard]] platform::AVCaptureDeviceType deviceType() const override
    {
        return driver_->description().type;
    }
    [[nodiscard]] platform::AVCaptureDevicePosition position() const override
    {
        return driver_->description().position;
    }
    [[nodiscard]] platform::AVCaptureDeviceFormat activeFormat() const override;
    [[nodiscard]] int minimumFocusDistance() const override
    {
        return driver_->description().minimumFocusDistance;
    }
    [[nodiscard]] std::expected<void, platform::Error> lockForConfiguration() override;
    void unlockForConfiguration() override;
    [[nodiscard]] double minAvailableVideoZoomFactor() const override
    {
        return driver_->description().minZoomFactor;
    }
    [[nodiscard]] double maxAvailableVideoZoomFactor() const override
    {
        return driver_->description().maxZoomFactor;
    }
    [[nodiscard]] double videoZoomFactor() const override { return zoomFactor_; }
    void setVideoZoomFactor(double factor) override;
    [[nodiscard]] bool isFlashAvailable() const override;
    [[nodiscard]] bool hasTorch() const override { return driver_->description().hasTorch; }
    void setTorchMode(platform::AVCaptureTorchMode mode) override;

    [[nodiscard]] bool isPresent() const { return driver_->isPresent(); }
    [[nodiscard]] CameraDescription description() const { return driver_->description(); }

    // The following may take as long as the device needs.

    /// Takes the device if no holder in this process has it; returns the current claim if this holder has it. Absent if
    /// another holder has it, an error if it cannot be opened.
    [[nodiscard]] std::expected<std::optional<Claim>, platform::Error> claimIfFree(
        const std::shared_ptr<DeviceHolder>& holder);
    /// Takes the device, even from another holder.
    [[nodiscard]] std::expected<Claim, platform::Error> claim(const std::shared_ptr<DeviceHolder>& holder);
    /// Starts to fill the sink, for the holder of the claim; an error when it has lapsed or the device does not start.
    [[nodiscard]] std::expected<void, platform::Error> start(
        Claim claim, platform::AVCaptureSessionPreset preset, std::shared_ptr<FrameSink> sink);
    /// Does nothing when the claim has lapsed.
    void stop(Claim claim);
    /// Stops the device and closes it.
    void release(Claim claim);
    /// The same for any holder, which is notified that the device is lost.
    void lose(const platform::Error& reason);

private:
    [[nodiscard]] std::expected<Claim, platform::Error> take(const std::shared_ptr<DeviceHolder>& holder)
        TAMSEL_REQUIRES(*operation_);
    void close() TAMSEL_REQUIRES(*operation_);

    const std::shared_ptr<CameraDriver> driver_;
    const std::shared_ptr<CaptureHook> hook_;
    std::atomic<bool> isLockedForConfiguration_ = false;
    std::atomic<double> zoomFactor_ = 1;

    /// Around every call of the driver that may take time.
    const std::unique_ptr<OperationLock> operation_;
    std::weak_ptr<DeviceHolder> holder_ TAMSEL_GUARDED_BY(*operation_);
    Claim claim_ TAMSEL_GUARDED_BY(*operation_) = noClaim;
    Claim lastClaim_ TAMSEL_GUARDED_BY(*operation_) = noClaim;
    bool isStarted_ TAMSEL_GUARDED_BY(*operation_) = false;
};

} // namespace tamsel::engine
