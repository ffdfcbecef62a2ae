#pragma once

#include <engine/capture/CameraDevice.h>
#include <engine/capture/CaptureHook.h>

#include <tamsel/platform/AVCaptureConnection.h>

#include <atomic>
#include <memory>
#include <utility>

namespace tamsel::engine {

/// The settings of a connection, and its camera. Thread-safe.
class Connection final : public platform::AVCaptureConnection {
public:
    Connection(std::shared_ptr<CaptureHook> hook, std::weak_ptr<CameraDevice> camera)
        : hook_(std::move(hook)),
          camera_(std::move(camera))
    {
    }

    /// Absent once the platform has ended.
    [[nodiscard]] std::shared_ptr<CameraDevice> camera() const { return camera_.lock(); }

    [[nodiscard]] bool isEnabled() const override { return isEnabled_; }
    void setEnabled(bool enabled) override
    {
        hook_->called(CaptureCall::setEnabled, enabled ? "true" : "false");
        isEnabled_ = enabled;
    }
    [[nodiscard]] bool automaticallyAdjustsVideoMirroring() const override { return adjustsMirroring_; }
    void setAutomaticallyAdjustsVideoMirroring(bool adjusts) override
    {
        hook_->called(CaptureCall::setAutomaticallyAdjustsVideoMirroring, adjusts ? "true" : "false");
        adjustsMirroring_ = adjusts;
    }
    [[nodiscard]] platform::AVCaptureVideoOrientation videoOrientation() const override
    {
        return orientation_;
    }
    void setVideoOrientation(platform::AVCaptureVideoOrientation orientation) override;

private:
    const std::shared_ptr<CaptureHook> hook_;
    const std::weak_ptr<CameraDevice> camera_; ///< weak: its driver holds the stream, which holds the outputs
    std::atomic<bool> isEnabled_ = true;
    std::atomic<bool> adjustsMirroring_ = true;
    std::atomic<platform::AVCaptureVideoOrientation> orientation_
        = platform::AVCaptureVideoOrientation::portrait;
};

} // namespace tamsel::engine
