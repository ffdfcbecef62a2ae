#pragma once

#include <tamsel/photo/OvriLocationMetadataDelegate.h>
#include <tamsel/platform/AVCapturePhotoOutput.h>
#include <tamsel/platform/core/TamselCameraSettings.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

/// Follows one still from the shutter to the bytes of its file. The object that starts the capture keeps it until then,
/// because the platform holds it weakly.
class PhotoCaptureProcessor final : public platform::AVCapturePhotoCaptureDelegate,
                                    public std::enable_shared_from_this<PhotoCaptureProcessor> {
public:
    using CameraModel = OvriLocationMetadataDelegate::CameraModel;
    /// Called once, on the platform's queue, when the capture has ended, with or without a photo.
    using CompletionHandler = std::move_only_function<void(std::shared_ptr<PhotoCaptureProcessor>)>;

    PhotoCaptureProcessor(platform::AVCapturePhotoSettings requestedPhotoSettings,
        CompletionHandler completionHandler, CameraModel cameraModel,
        platform::TamselCameraSettings::CameraCaptureSound cameraCaptureSound, platform::Platform& platform)
        : platform_(platform),
          requestedPhotoSettings_(requestedPhotoSettings),
          completionHandler_(std::move(completionHandler)),
          cameraModel_(cameraModel),
          cameraCaptureSound_(std::move(cameraCaptureSound))
    {
    }

    [[nodiscard]] const platform::AVCapturePhotoSettings& requestedPhotoSettings() const
    {
        return requestedPhotoSettings_;
    }
    /// Absent until a photo has been processed without an error. The completion takes it once.
    [[nodiscard]] std::optional<std::vector<std::byte>> takePhotoData()
    {
        return std::exchange(photoData_, {});
    }

    void captureOutputWillBeginCapture(const platform::AVCaptureResolvedPhotoSettings& settings) override;
    void captureOutputWillCapturePhoto(const platform::AVCaptureResolvedPhotoSettings& settings) override;
    void captureOutputDidCapturePhoto(const platform::AVCaptureResolvedPhotoSettings& settings) override;
    void captureOutputDidFinishProcessingPhoto(
        const platform::AVCapturePhoto& photo, const std::optional<platform::Error>& error) override;
    void captureOutputDidFinishCapture(const platform::AVCaptureResolvedPhotoSettings& settings,
        const std::optional<platform::Error>& error) override;

private:
    void disposeShutterSound();
    void writeError(const platform::Error& error);

    platform::Platform& platform_;
    const platform::AVCapturePhotoSettings requestedPhotoSettings_;
    CompletionHandler completionHandler_;
    std::optional<std::vector<std::byte>> photoData_;
    const CameraModel cameraModel_;
    const platform::TamselCameraSettings::CameraCaptureSound cameraCaptureSound_;
};

} // namespace tamsel
