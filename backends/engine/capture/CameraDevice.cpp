#include <engine/capture/CameraDevice.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace tamsel::engine {

using namespace platform;

CameraDevice::CameraDevice(std::shared_ptr<CameraDriver> driver, std::shared_ptr<CaptureHook> hook,
    std::unique_ptr<OperationLock> operation)
    : driver_(std::move(driver)),
      hook_(std::move(hook)),
      operation_(std::move(operation))
{
}

AVCaptureDeviceFormat CameraDevice::activeFormat() const
{
    const CameraDescription description = driver_->description();
    return {.presentationDimensions = description.presentationDimensions,
        .videoFieldOfView = description.videoFieldOfView};
}

std::expected<void, Error> CameraDevice::lockForConfiguration()
{
    if (!hook_->permits(CaptureCall::lockForConfiguration, {}))
        return std::unexpected(Error{.localizedDescription = "the device cannot be locked"});
    if (!driver_->isPresent())
        return std::unexpected(Error{.localizedDescription = "the device is gone"});
    if (isLockedForConfiguration_.exchange(true))
        return std::unexpected(Error{.localizedDescription = "the device is locked by another client"});
    return {};
}

void CameraDevice::unlockForConfiguration()
{
    hook_->called(CaptureCall::unlockForConfiguration, {});
    isLockedForConfiguration_ = false;
}

void CameraDevice::setVideoZoomFactor(double factor)
{
    hook_->called(CaptureCall::setVideoZoomFactor, std::to_string(factor));
    zoomFactor_ = factor;
    const OperationHold operation(*operation_);
    driver_->setZoomFactor(factor);
}

bool CameraDevice::isFlashAvailable() const
{
    const CameraDescription description = driver_->description();
    return std::ranges::any_of(
        description.flashModes, [](AVCaptureFlashMode mode) { return mode != AVCaptureFlashMode::off; });
}

void CameraDevice::setTorchMode(AVCaptureTorchMode mode)
{
    static constexpr std::array<std::string_view, 3> names{"off", "on", "automatic"};
    hook_->called(CaptureCall::setTorchMode, names.at(static_cast<std::size_t>(mode)));
    const OperationHold operation(*operation_);
    driver_->setTorchMode(mode);
}

std::expected<CameraDevice::Claim, Error> CameraDevice::take(const std::shared_ptr<DeviceHolder>& holder)
{
    if (claim_ == noClaim) {
        if (auto opened = driver_->open(); !opened)
            return std::unexpected(std::move(opened.error()));
    }
    holder_ = holder;
    claim_ = ++lastClaim_;
    return claim_;
}

std::expected<std::optional<CameraDevice::Claim>, Error> CameraDevice::claimIfFree(
    const std::shared_ptr<DeviceHolder>& holder)
{
    const OperationHold operation(*operation_);
    const std::shared_ptr<DeviceHolder> current = holder_.lock();
    if (claim_ != noClaim && current)
        return current == holder ? std::optional(claim_) : std::nullopt;
    return take(holder);
}

std::expected<CameraDevice::Claim, Error> CameraDevice::claim(const std::shared_ptr<DeviceHolder>& holder)
{
    const OperationHold operation(*operation_);
    const std::shared_ptr<DeviceHolder> current = holder_.lock();
    if (claim_ != noClaim && current == holder)
        return claim_;
    if (current && claim_ != noClaim)
        current->deviceWasTaken();
    if (std::exchange(isStarted_, false))
        driver_->stop();
    return take(holder);
}

std::expected<void, Error> CameraDevice::start(
    Claim claim, AVCaptureSessionPreset preset, std::shared_ptr<FrameSink> sink)
{
    const OperationHold operation(*operation_);
    if (claim == noClaim || claim != claim_)
        return std::unexpected(Error{.localizedDescription = "another session holds the device"});
    if (std::exchange(isStarted_, false))
        driver_->stop();
    auto started = driver_->start(preset, std::move(sink));
    isStarted_ = started.has_value();
    return started;
}

void CameraDevice::stop(Claim claim)
{
    const OperationHold operation(*operation_);
    if (claim == claim_ && std::exchange(isStarted_, false))
        driver_->stop();
}

void CameraDevice::release(Claim claim)
{
    const OperationHold operation(*operation_);
    if (claim != noClaim && claim == claim_)
        close();
}

void CameraDevice::lose(const Error& reason)
{
    const OperationHold operation(*operation_);
    if (claim_ == noClaim)
        return;
    const std::shared_ptr<DeviceHolder> holder = holder_.lock();
    close();
    if (holder)
        holder->deviceWasLost(reason);
}

void CameraDevice::close()
{
    if (std::exchange(isStarted_, false))
        driver_->stop();
    driver_->close();
    claim_ = noClaim;
    holder_.reset();
}

} // namespace tamsel::engine
