// The camera's stills.

#include <tamsel/camera/IosCamera.h>

#include <tamsel/camera/PhotoCaptureProcessor.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/UIDevice.h>
#include <tamsel/platform/core/Tamsel.h>

#include <algorithm>
#include <utility>

namespace tamsel {

using namespace platform;

void IosCamera::captureStillImage(OvriImageSource source, const std::optional<TamselCameraSettings>& settings)
{
    std::shared_ptr<AVCaptureVideoPreviewLayer> preview;
    {
        const MutexLock lock(guard_);
        preview = previewLayer_.lock();
    }
    const std::shared_ptr<AVCaptureConnection> connection = preview ? preview->connection() : nullptr;
    if (!connection) {
        reportStillFailed();
        return;
    }
    const AVCaptureVideoOrientation orientation = connection->videoOrientation();
    auto chosen = std::make_shared<const TamselCameraSettings>(
        settings ? *settings : platform_.tamsel.cameraSettings());
    sessionQueue_->async(
        whileAlive(weak_from_this(), [orientation, chosen = std::move(chosen), source](IosCamera& self) {
            self.capturePhoto(orientation, *chosen, source);
        }));
}

void IosCamera::capturePhoto(
    AVCaptureVideoOrientation orientation, const TamselCameraSettings& settings, OvriImageSource source)
{
    sessionQueue_->assertCurrent();
    if (photoOutput_) {
        if (const std::shared_ptr<AVCaptureConnection> connection
            = photoOutput_->connection(AVMediaType::video))
            connection->setVideoOrientation(orientation);
    }
    auto photoSettings = AVCapturePhotoSettings::photoSettingsWithFormat(AVVideoCodecType::jpeg);
    if (const std::shared_ptr<AVCaptureDeviceInput> input = currentDeviceInput()) {
        AVCaptureDevice& device = *input->device();
        const AVCaptureFlashMode flashMode = settings.cameraFlashMode;
        const std::vector<AVCaptureFlashMode> supported
            = photoOutput_ ? photoOutput_->supportedFlashModes() : std::vector<AVCaptureFlashMode>{};
        if (device.isFlashAvailable() && std::ranges::find(supported, flashMode) != supported.end())
            photoSettings.flashMode = flashMode;
        switchTorch(device, settings.cameraTorchMode);
    }
    photoSettings.isHighResolutionPhotoEnabled = true;
    photoSettings.isAutoStillImageStabilizationEnabled = true;
    if (isSystemVersionAtLeast(platform_.device, 13, 0))
        photoSettings.photoQualityPrioritization = AVCapturePhotoQualityPrioritization::balanced;

    const auto processor = std::make_shared<PhotoCaptureProcessor>(
        photoSettings,
        [weakSelf = weak_from_this(), source](std::shared_ptr<PhotoCaptureProcessor> finished) {
            const std::shared_ptr<IosCamera> self = weakSelf.lock();
            if (!self)
                return;
            // Strong: a still that has come this far is delivered even when the owner releases the camera meanwhile.
            self->sessionQueue_->async(
                [self, finished = std::move(finished), source] { self->deliverPhoto(*finished, source); });
        },
        configuration_->position == CameraConfiguration::Position::front
            ? PhotoCaptureProcessor::CameraModel::facingFront
            : PhotoCaptureProcessor::CameraModel::facingBack,
        settings.cameraCaptureSound, platform_);
    inProgressPhotoCaptureDelegates_.insert_or_assign(photoSettings.uniqueID(), processor);
    if (photoOutput_)
        photoOutput_->capturePhoto(photoSettings, processor);
}

/// Does not change the torch when the device cannot be locked.
void IosCamera::switchTorch(AVCaptureDevice& device, AVCaptureTorchMode mode)
{
    if (!device.hasTorch())
        return;
    if (auto locked = device.lockForConfiguration(); !locked) {
        (void)CameraError::cameraModeError(std::move(locked.error())).reported(std::nullopt, platform_);
        return;
    }
    device.setTorchMode(mode);
    device.unlockForConfiguration();
}

void IosCamera::deliverPhoto(PhotoCaptureProcessor& processor, OvriImageSource source)
{
    sessionQueue_->assertCurrent();
    // A failed capture leaves the table as well, or it would stay there.
    inProgressPhotoCaptureDelegates_.erase(processor.requestedPhotoSettings().uniqueID());
    auto data = processor.takePhotoData();
    if (!data)
        reportStillFailed();
    else if (const std::shared_ptr<CameraDelegate> delegate = this->delegate())
        delegate->didCapturePhoto(std::move(*data), source);
}

void IosCamera::reportStillFailed()
{
    if (const std::shared_ptr<CameraDelegate> delegate = this->delegate())
        delegate->didFail(CameraError::captureImageFailed().reported(sessionElement, platform_));
}

} // namespace tamsel
