#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/camera/Camera.h>
#include <tamsel/platform/AVCaptureVideoPreviewLayer.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/UIApplication.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

class MetadataOutputHandler;
class PhotoCaptureProcessor;
class VideoFrameHandler;

/// The library's camera: one capture session with its inputs, outputs and queues.
class IosCamera final : public Camera,
                        public platform::AVCaptureFileOutputRecordingDelegate,
                        public std::enable_shared_from_this<IosCamera> {
    struct Private { };

public:
    /// Does not open a device yet. The platform must outlive the camera.
    [[nodiscard]] static std::shared_ptr<IosCamera> create(
        CameraConfiguration configuration, platform::Platform& platform);
    /// True when there is a camera at the position.
    [[nodiscard]] static bool isAvailable(
        CameraConfiguration::Position position, platform::Platform& platform);

    IosCamera(Private, CameraConfiguration configuration, platform::Platform& platform);
    ~IosCamera() override;

    [[nodiscard]] bool isActive() const override { return isActive_.load(); }
    void setIsActive(bool isActive) override;
    void setPreferredVideoGravity(std::optional<platform::AVLayerVideoGravity> gravity) override;
    void setMinimumFocusObjectSize(std::optional<double> size) override;
    void setDelegate(std::weak_ptr<CameraDelegate> delegate) override;
    void setConfiguration(CameraConfiguration configuration) override;
    [[nodiscard]] std::shared_ptr<platform::AVCaptureDeviceInput> currentDeviceInput() const override;
    [[nodiscard]] std::shared_ptr<const platform::FrameLedger> frameLedger() const override;

    void startSession(
        std::vector<platform::AVMetadataObjectType> metadataObjectTypes, Completion completion) override;
    void pause(Completion completion) override;
    void resume() override;
    void tearDown(Completion completion) override;
    void addPreviewLayer(const std::shared_ptr<platform::CALayer>& layer) override;
    void captureStillImage(platform::OvriImageSource source,
        const std::optional<platform::TamselCameraSettings>& settings) override;
    void startVideoRecording(std::filesystem::path url) override;
    void stopVideoRecording() override;
    void captureOutputDidFinishRecording(
        const std::filesystem::path& url, const std::optional<platform::Error>& error) override;

private:
    /// The element in reports of session failures.
    static constexpr const char* sessionElement = "AVCaptureSession";

    [[nodiscard]] std::shared_ptr<CameraDelegate> delegate() const;
    void observeApplication();
    void receiveFrames();

    // Set-up, in IosCameraSetup.cpp. The first four run in parallel on the global queue.
    void applySessionPreset();
    void setUpDeviceInputs();
    void setUpVideoOutputs();
    void setUpPhotoOutput();
    void finishSetUp(std::vector<platform::AVMetadataObjectType> types,
        platform::UIInterfaceOrientation orientation, Completion completion);
    [[nodiscard]] bool addInputsAndOutputs(platform::UIInterfaceOrientation orientation);
    void setUpMetadataOutput(const std::vector<platform::AVMetadataObjectType>& types);
    void fail(CameraError error);
    void setSampleBufferDelegate(std::weak_ptr<VideoFrameHandler> handler);

    // Stills, in IosCameraPhoto.cpp.
    void capturePhoto(platform::AVCaptureVideoOrientation orientation,
        const platform::TamselCameraSettings& settings, platform::OvriImageSource source);
    void switchTorch(platform::AVCaptureDevice& device, platform::AVCaptureTorchMode mode);
    void deliverPhoto(PhotoCaptureProcessor& processor, platform::OvriImageSource source);
    void reportStillFailed();

    // Recordings, in IosCameraRecording.cpp.
    [[nodiscard]] bool isReadyToRecord() const;

    // Geometry, in IosCameraGeometry.cpp.
    void adjustZoomForMinimumFocus();
    void configureVideoConnections(platform::UIInterfaceOrientation orientation);
    void handleStatusBarOrientationChanged();

    void handleBackground();
    void handleForeground();

    platform::Platform& platform_;
    std::atomic<bool> isActive_ = false;
    const std::shared_ptr<platform::AVCaptureSession> captureSession_;
    const std::shared_ptr<platform::DispatchQueue> videoQueue_;
    const std::shared_ptr<platform::DispatchQueue> sessionQueue_;
    const std::shared_ptr<VideoFrameHandler> handler_;

    // Set by the owner before the start; items that are posted afterwards see them.
    std::optional<platform::AVLayerVideoGravity> preferredVideoGravity_;
    std::optional<double> minimumFocusObjectSize_;
    std::optional<CameraConfiguration> configuration_; ///< never empty; replaced as a whole

    // Each written by one of the set-up steps, read on the session queue after all of them.
    std::shared_ptr<platform::AVCaptureDeviceInput> captureDeviceInput_;
    std::shared_ptr<platform::AVCaptureDeviceInput> audioDeviceInput_;
    std::shared_ptr<platform::AVCaptureMovieFileOutput> movieFileOutput_;
    std::shared_ptr<platform::AVCapturePhotoOutput> photoOutput_;

    std::shared_ptr<MetadataOutputHandler> metadataHandler_ TAMSEL_GUARDED_BY(*sessionQueue_);
    std::shared_ptr<platform::AVCaptureMetadataOutput> metadataOutput_ TAMSEL_GUARDED_BY(*sessionQueue_);
    /// The pending captures, by the numbers of their settings.
    std::map<std::int64_t, std::shared_ptr<PhotoCaptureProcessor>>
        inProgressPhotoCaptureDelegates_ TAMSEL_GUARDED_BY(*sessionQueue_);
    bool isTornDown_ = false; ///< set by `tearDown`, read by the destructor

    // Read on the client's thread, by `pause`, `resume` and `captureStillImage`, while the set-up may be writing them.
    mutable Mutex guard_;
    std::weak_ptr<CameraDelegate> delegate_ TAMSEL_GUARDED_BY(guard_);
    std::shared_ptr<platform::AVCaptureVideoDataOutput> videoDataOutput_ TAMSEL_GUARDED_BY(guard_);
    std::weak_ptr<platform::AVCaptureVideoPreviewLayer> previewLayer_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel
