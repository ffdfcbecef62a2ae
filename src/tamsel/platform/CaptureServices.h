#pragma once

#include <tamsel/platform/AVCaptureSession.h>
#include <tamsel/platform/AVCaptureVideoPreviewLayer.h>

#include <expected>
#include <memory>

namespace tamsel::platform {

/// Devices, permission to use them, and the parts of a capture session. Thread-safe.
class CaptureServices {
public:
    virtual ~CaptureServices() = default;

    [[nodiscard]] virtual AVAuthorizationStatus authorizationStatus(AVMediaType mediaType) const = 0;
    /// Absent when there is no such device.
    [[nodiscard]] virtual std::shared_ptr<AVCaptureDevice> defaultDevice(
        AVCaptureDeviceType type, AVMediaType mediaType, AVCaptureDevicePosition position)
        = 0;
    /// Absent when there is no microphone.
    [[nodiscard]] virtual std::shared_ptr<AVCaptureDevice> defaultAudioDevice() = 0;

    /// Without inputs and outputs.
    [[nodiscard]] virtual std::shared_ptr<AVCaptureSession> makeSession() = 0;
    /// Fails when the device cannot be used.
    [[nodiscard]] virtual std::expected<std::shared_ptr<AVCaptureDeviceInput>, Error> makeDeviceInput(
        const std::shared_ptr<AVCaptureDevice>& device)
        = 0;
    [[nodiscard]] virtual std::shared_ptr<AVCaptureVideoDataOutput> makeVideoDataOutput() = 0;
    [[nodiscard]] virtual std::shared_ptr<AVCapturePhotoOutput> makePhotoOutput() = 0;
    [[nodiscard]] virtual std::shared_ptr<AVCaptureMovieFileOutput> makeMovieFileOutput() = 0;
    [[nodiscard]] virtual std::shared_ptr<AVCaptureMetadataOutput> makeMetadataOutput() = 0;
    /// Holds the session weakly.
    [[nodiscard]] virtual std::shared_ptr<AVCaptureVideoPreviewLayer> makePreviewLayer(
        const std::shared_ptr<AVCaptureSession>& session)
        = 0;
};

} // namespace tamsel::platform
