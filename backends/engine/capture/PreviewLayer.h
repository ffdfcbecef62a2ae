#pragma once

#include <engine/capture/CaptureSession.h>

#include <tamsel/platform/AVCaptureVideoPreviewLayer.h>

#include <atomic>
#include <memory>
#include <utility>

namespace tamsel::engine {

/// A preview layer, with its session's connection for previews. Thread-safe.
class PreviewLayer final : public platform::AVCaptureVideoPreviewLayer {
public:
    explicit PreviewLayer(std::weak_ptr<CaptureSession> session) : session_(std::move(session)) { }

    [[nodiscard]] platform::AVLayerVideoGravity videoGravity() const override { return gravity_; }
    void setVideoGravity(platform::AVLayerVideoGravity gravity) override { gravity_ = gravity; }
    [[nodiscard]] std::shared_ptr<platform::AVCaptureConnection> connection() const override
    {
        const std::shared_ptr<CaptureSession> session = session_.lock();
        return session ? session->previewConnection() : nullptr;
    }

private:
    const std::weak_ptr<CaptureSession> session_;
    std::atomic<platform::AVLayerVideoGravity> gravity_ = platform::AVLayerVideoGravity::resizeAspect;
};

} // namespace tamsel::engine
