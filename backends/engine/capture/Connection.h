#pragma once

#include <engine/capture/CaptureHook.h>

#include <tamsel/platform/AVCaptureOutput.h>

#include <atomic>
#include <memory>
#include <utility>

namespace tamsel::engine {

/// A connection is three settings that the frame's way reads.
class Connection final : public platform::AVCaptureConnection {
public:
    explicit Connection(std::shared_ptr<CaptureHook> hook) : hook_(std::move(hook)) { }

    [[nodiscard]] bool isEnabled() const override { return isEnabled_; }
    void setEnabled(bool enabled) override
    {
        hook_->permits(CaptureCall::setEnabled, enabled ? "true" : "false");
        isEnabled_ = enabled;
    }
    [[nodiscard]] bool automaticallyAdjustsVideoMirroring() const override { return adjustsMirroring_; }
    void setAutomaticallyAdjustsVideoMirroring(bool adjusts) override
    {
        hook_->permits(CaptureCall::setAutomaticallyAdjustsVideoMirroring, adjusts ? "true" : "false");
        adjustsMirroring_ = adjusts;
    }
    [[nodiscard]] platform::AVCaptureVideoOrientation videoOrientation() const override
    {
        return orientation_;
    }
    void setVideoOrientation(platform::AVCaptureVideoOrientation orientation) override;

private:
    const std::shared_ptr<CaptureHook> hook_;
    std::atomic<bool> isEnabled_ = true;
    std::atomic<bool> adjustsMirroring_ = true;
    std::atomic<platform::AVCaptureVideoOrientation> orientation_
        = platform::AVCaptureVideoOrientation::portrait;
};

} // namespace tamsel::engine
