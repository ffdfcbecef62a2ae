#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/platform/AVCaptureVideoPreviewLayer.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace tamsel::engine {

class CaptureSession;

/// A preview layer, with its session's connection for previews, and a mailbox for the newest picture. Thread-safe.
class PreviewLayer final : public platform::AVCaptureVideoPreviewLayer,
                           public std::enable_shared_from_this<PreviewLayer> {
public:
    explicit PreviewLayer(std::weak_ptr<CaptureSession> session) : session_(std::move(session)) { }

    [[nodiscard]] platform::AVLayerVideoGravity videoGravity() const override { return gravity_; }
    void setVideoGravity(platform::AVLayerVideoGravity gravity) override { gravity_ = gravity; }
    [[nodiscard]] std::shared_ptr<platform::AVCaptureConnection> connection() const override;
    void setFrameObserver(
        std::shared_ptr<platform::DispatchQueue> queue, std::function<void()> changed) override;
    [[nodiscard]] std::optional<platform::PreviewFrame> newestFrame() const override;
    [[nodiscard]] std::optional<platform::CGAffineTransform> layerTransform() const override;

    [[nodiscard]] bool isObserved() const
    {
        const MutexLock lock(guard_);
        return observer_ != nullptr;
    }
    /// A filled picture with its timing, as the sensor stores it.
    void offer(const std::shared_ptr<platform::CVPixelBuffer>& picture,
        platform::AVCaptureVideoOrientation sensorOrientation);
    /// The session has stopped.
    void clear();

private:
    struct Observer {
        std::shared_ptr<platform::DispatchQueue> queue;
        std::function<void()> changed;
        std::atomic<bool> isPosted = false;
    };
    /// Of the latest picture, also when it is not kept.
    struct Latest {
        platform::CGSize size;
        platform::AVCaptureVideoOrientation sensorOrientation;
    };

    [[nodiscard]] std::optional<platform::PreviewFrame> place(const std::optional<Latest>& latest) const;
    void put(std::shared_ptr<const platform::CVPixelBuffer> picture, const std::optional<Latest>& latest);

    const std::weak_ptr<CaptureSession> session_;
    std::atomic<platform::AVLayerVideoGravity> gravity_ = platform::AVLayerVideoGravity::resizeAspect;

    mutable Mutex guard_;
    std::shared_ptr<Observer> observer_ TAMSEL_GUARDED_BY(guard_);
    std::shared_ptr<const platform::CVPixelBuffer> newest_ TAMSEL_GUARDED_BY(guard_);
    std::optional<Latest> latest_ TAMSEL_GUARDED_BY(guard_);
};

/// The preview layers of a session, held weakly. Thread-safe.
class PreviewLayers {
public:
    void add(std::weak_ptr<PreviewLayer> layer);
    /// The buffers that they keep: the newest picture, and the one on the screen.
    [[nodiscard]] std::size_t keptBuffers();
    void offer(const std::shared_ptr<platform::CVPixelBuffer>& picture,
        platform::AVCaptureVideoOrientation sensorOrientation);
    void clear();

private:
    [[nodiscard]] std::shared_ptr<PreviewLayer> at(std::size_t index);

    Mutex guard_;
    std::vector<std::weak_ptr<PreviewLayer>> layers_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
