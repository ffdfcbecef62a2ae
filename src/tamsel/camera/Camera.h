#pragma once

#include <tamsel/camera/CameraConfiguration.h>
#include <tamsel/camera/CameraDelegate.h>
#include <tamsel/platform/AVCaptureSession.h>
#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/core/OvriImage.h>
#include <tamsel/platform/core/TamselCameraSettings.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tamsel {

/// A camera source, as its owner uses it.
class Camera {
public:
    /// Called at most once.
    using Completion = std::move_only_function<void()>;

    virtual ~Camera() = default;

    /// True while live frames are wanted. Thread-safe.
    [[nodiscard]] virtual bool isActive() const = 0;
    virtual void setIsActive(bool isActive) = 0;

    // Set before `startSession`, by one thread at a time.
    virtual void setPreferredVideoGravity(std::optional<platform::AVLayerVideoGravity> gravity) = 0;
    /// Millimetres.
    virtual void setMinimumFocusObjectSize(std::optional<double> size) = 0;
    virtual void setDelegate(std::weak_ptr<CameraDelegate> delegate) = 0;
    virtual void setConfiguration(CameraConfiguration configuration) = 0;

    /// The session's first device input; absent when it has none.
    [[nodiscard]] virtual std::shared_ptr<platform::AVCaptureDeviceInput> currentDeviceInput() const = 0;
    [[nodiscard]] virtual std::shared_ptr<const platform::FrameLedger> frameLedger() const = 0;

    /// On the main queue. The completion runs there, once the session has started; never when set-up fails.
    virtual void startSession(
        std::vector<platform::AVMetadataObjectType> metadataObjectTypes, Completion completion)
        = 0;
    /// Stops frames at once and the session a moment later. The completion may be empty; it is called on the session
    /// queue, and only when the camera was active and its session running.
    virtual void pause(Completion completion) = 0;
    /// Starts a paused session again.
    virtual void resume() = 0;
    /// Runs on its caller's queue, which is the session queue after `pause`. The completion may be empty. Pending
    /// stills fail when the camera is released afterwards.
    virtual void tearDown(Completion completion) = 0;
    /// On the main queue.
    virtual void addPreviewLayer(const std::shared_ptr<platform::CALayer>& layer) = 0;

    /// Takes one still in the orientation of the preview; the delegate receives it with the source, or a failure.
    /// Without a preview it fails at once, on the calling thread. Without settings the product's settings apply.
    virtual void captureStillImage(
        platform::OvriImageSource source, const std::optional<platform::TamselCameraSettings>& settings)
        = 0;

    /// Records into a file from the next frame on, if the configuration enables it. The delegate receives the finished
    /// file, or a failure when the session does not run.
    virtual void startVideoRecording(std::filesystem::path url) = 0;
    virtual void stopVideoRecording() = 0;
};

} // namespace tamsel
