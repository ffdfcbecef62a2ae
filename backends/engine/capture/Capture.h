#pragma once

#include <engine/capture/CameraDriver.h>
#include <engine/capture/CaptureActivity.h>
#include <engine/capture/CaptureHook.h>
#include <engine/capture/MetadataServices.h>
#include <engine/capture/MicrophoneDriver.h>
#include <engine/capture/MovieServices.h>
#include <engine/capture/OperationLock.h>
#include <engine/capture/PhotoServices.h>

#include <functional>
#include <memory>
#include <tamsel/platform/AVCaptureSession.h>
#include <tamsel/platform/AVCaptureVideoPreviewLayer.h>
#include <tamsel/platform/CaptureServices.h>
#include <tamsel/platform/Dispatch.h>

#include <vector>

/// The behaviour of a phone, for any source of samples; and the interfaces that drivers implement.
namespace tamsel::engine {

class ApplicationState;
struct CaptureContext;

/// The needs of the engine's capture services. All references must outlive the services and everything made by them,
/// except sessions and buffers that are kept but no longer used.
struct CaptureConfiguration {
    platform::Dispatch& dispatch;
    ApplicationState& application;
    PhotoServices photos;
    MovieServices movies;
    /// Every camera of this machine; several may share a position, the first of a type and position is the default.
    std::vector<std::shared_ptr<CameraDriver>> cameras;
    /// Called for each query.
    std::function<platform::AVAuthorizationStatus(platform::AVMediaType)> authorization;
    /// Absent when there is none.
    std::shared_ptr<MicrophoneDriver> microphone = nullptr;
    MetadataServices metadata = {};
    /// Buffers of each session's pool.
    std::size_t bufferCount = 10;
    /// Sees each frame; usually absent.
    std::shared_ptr<platform::FrameObserver> frameObserver = nullptr;
    std::shared_ptr<CaptureHook> hook = std::make_shared<CaptureHook>();
    std::shared_ptr<CaptureActivity> activity = std::make_shared<CaptureActivity>();
    std::function<std::unique_ptr<OperationLock>()> makeOperationLock
        = [] { return std::make_unique<ThreadOperationLock>(); };
};

/// The capture services of a phone on top of camera drivers: the devices, and sessions that connect them to outputs. The
/// same for every back end. Thread-safe.
class Capture final : public platform::CaptureServices {
public:
    /// Opens no device.
    explicit Capture(CaptureConfiguration configuration);
    ~Capture() override;

    [[nodiscard]] platform::AVAuthorizationStatus authorizationStatus(
        platform::AVMediaType mediaType) const override;
    [[nodiscard]] std::shared_ptr<platform::AVCaptureDevice> defaultDevice(platform::AVCaptureDeviceType type,
        platform::AVMediaType mediaType, platform::AVCaptureDevicePosition position) override;
    [[nodiscard]] std::shared_ptr<platform::AVCaptureDevice> defaultAudioDevice() override;
    [[nodiscard]] std::shared_ptr<platform::AVCaptureSession> makeSession() override;
    [[nodiscard]] std::expected<std::shared_ptr<platform::AVCaptureDeviceInput>, platform::Error>
    makeDeviceInput(const std::shared_ptr<platform::AVCaptureDevice>& device) override;
    [[nodiscard]] std::shared_ptr<platform::AVCaptureVideoDataOutput> makeVideoDataOutput() override;
    [[nodiscard]] std::shared_ptr<platform::AVCapturePhotoOutput> makePhotoOutput() override;
    [[nodiscard]] std::shared_ptr<platform::AVCaptureMovieFileOutput> makeMovieFileOutput() override;
    [[nodiscard]] std::shared_ptr<platform::AVCaptureMetadataOutput> makeMetadataOutput() override;
    [[nodiscard]] std::shared_ptr<platform::AVCaptureVideoPreviewLayer> makePreviewLayer(
        const std::shared_ptr<platform::AVCaptureSession>& session) override;

    /// The cameras that are present now, in the order of the configuration.
    [[nodiscard]] std::vector<std::shared_ptr<platform::AVCaptureDevice>> cameras() const;

    /// Running sessions lose their cameras, as if these were unplugged. May take as long as the devices need.
    void loseCameras(const platform::Error& reason);

private:
    std::shared_ptr<CaptureContext> context_;
};

} // namespace tamsel::engine
