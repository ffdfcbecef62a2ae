// The manager's queries, answered on the caller's thread from the platform's state and the manager's fields.

#include <tamsel/facade/OvriSourceManager.h>

#include <tamsel/camera/IosCamera.h>
#include <tamsel/facade/SessionObserver.h>
#include <tamsel/motion/MotionHelper.h>
#include <tamsel/platform/CaptureServices.h>
#include <tamsel/platform/Platform.h>

namespace tamsel {

using namespace platform;
using Position = CameraConfiguration::Position;

namespace {

AVAuthorizationStatus status(AVMediaType mediaType, const Platform& platform)
{
    return platform.capture.authorizationStatus(mediaType);
}

bool isMissing(AVAuthorizationStatus status)
{
    return status == AVAuthorizationStatus::notDetermined || status == AVAuthorizationStatus::denied;
}

} // namespace

bool TamselSourceManagerProtocol::isMissingCameraPermission(Platform& platform)
{
    return isMissing(status(AVMediaType::video, platform));
}

bool TamselSourceManagerProtocol::isMissingMicPermission(Platform& platform)
{
    return isMissing(status(AVMediaType::audio, platform));
}

bool TamselSourceManagerProtocol::isCameraRestricted(Platform& platform)
{
    return status(AVMediaType::video, platform) == AVAuthorizationStatus::restricted;
}

bool TamselSourceManagerProtocol::isCameraAuthorized(Platform& platform)
{
    return status(AVMediaType::video, platform) == AVAuthorizationStatus::authorized;
}

bool TamselSourceManagerProtocol::isMicAuthorized(Platform& platform)
{
    return status(AVMediaType::audio, platform) == AVAuthorizationStatus::authorized;
}

bool OvriSourceManager::isSourceAvailable(const SourceType& sourceType) const
{
    if (std::holds_alternative<SourceType::CameraFront>(sourceType.value()))
        return IosCamera::isAvailable(Position::front, platform_);
    if (std::holds_alternative<SourceType::CameraBack>(sourceType.value()))
        return IosCamera::isAvailable(Position::back, platform_);
    if (std::holds_alternative<SourceType::Stability>(sourceType.value()))
        return motionHelper_ && motionHelper_->motionManager().isGyroAvailable();
    return IosCamera::isAvailable(Position::unspecified, platform_);
}

bool OvriSourceManager::isCameraActive() const
{
    const std::shared_ptr<Camera> current = camera();
    return current && current->isActive();
}

bool OvriSourceManager::canCaptureStillImage() const
{
    return canRecordVideo();
}

bool OvriSourceManager::canRecordVideo() const
{
    const AVAuthorizationStatus video = status(AVMediaType::video, platform_);
    return !isMissing(video) && video != AVAuthorizationStatus::restricted && camera() != nullptr;
}

CGSize OvriSourceManager::imageResolution() const
{
    const std::shared_ptr<Camera> current = camera();
    const std::shared_ptr<AVCaptureDeviceInput> input = current ? current->currentDeviceInput() : nullptr;
    if (!input)
        return {};
    return input->device()->activeFormat().presentationDimensions.value_or(CGSize{});
}

void OvriSourceManager::prefersAspectFillCameraPreview()
{
    observe(&SessionObserver::clientPrefersAspectFill);
    const MutexLock lock(guard_);
    preferredVideoGravity_ = AVLayerVideoGravity::resizeAspectFill;
}

} // namespace tamsel
