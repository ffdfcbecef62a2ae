#pragma once

#include <tamsel/camera/CameraError.h>
#include <tamsel/platform/AVCaptureOutput.h>

#include <atomic>
#include <functional>
#include <memory>
#include <variant>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

/// Receives live frames and drops from the platform, on the camera's video queue, and passes them on while active.
class VideoFrameHandler final : public platform::AVCaptureVideoDataOutputSampleBufferDelegate {
public:
    /// A frame, or the report of a drop.
    using Result = std::variant<std::shared_ptr<platform::CMSampleBuffer>, CameraError>;

    explicit VideoFrameHandler(platform::Platform& platform) : platform_(platform) { }

    [[nodiscard]] bool isActive() const { return isActive_.load(std::memory_order_relaxed); }
    void setIsActive(bool isActive) { isActive_.store(isActive, std::memory_order_relaxed); }

    /// Set once, before the first frame.
    void setCompletion(std::move_only_function<void(Result)> completion)
    {
        completion_ = std::move(completion);
    }

    void captureOutputDidOutputSampleBuffer(std::shared_ptr<platform::CMSampleBuffer> sampleBuffer) override;
    void captureOutputDidDropSampleBuffer(platform::CMSampleBuffer& sampleBuffer) override;

private:
    platform::Platform& platform_;
    std::atomic<bool> isActive_ = false;
    std::move_only_function<void(Result)> completion_;
};

} // namespace tamsel
