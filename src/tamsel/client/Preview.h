#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/platform/AVCaptureVideoPreviewLayer.h>
#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/Dispatch.h>

#include <functional>
#include <memory>
#include <optional>

namespace tamsel::platform {
struct Platform;
} // namespace tamsel::platform

namespace tamsel {

/// The pictures of a view, from one camera session to the next. It follows the preview layers that sessions add to the
/// view, rotates their connections with the interface, and removes those of earlier sessions. Make one for each view,
/// before the first session. Thread-safe.
class Preview final : public std::enable_shared_from_this<Preview> {
    struct Private { };

public:
    /// `changed` is called on the queue when there is a newer picture, and when there is none any more, once for all
    /// changes since the call before; not after the preview is released on a serial queue of that name. The platform
    /// must outlive the preview.
    [[nodiscard]] static std::shared_ptr<Preview> create(std::shared_ptr<platform::UIView> view,
        platform::Platform& platform, std::shared_ptr<platform::DispatchQueue> queue,
        std::function<void()> changed);

    Preview(Private, std::shared_ptr<platform::UIView> view, platform::Platform& platform,
        std::shared_ptr<platform::DispatchQueue> queue, std::function<void()> changed);
    ~Preview();
    Preview(const Preview&) = delete;
    Preview& operator=(const Preview&) = delete;

    /// Absent while no session runs.
    [[nodiscard]] std::optional<platform::PreviewFrame> newestFrame();
    /// For conversions, and for the next still: that of the latest session; absent before the first.
    [[nodiscard]] std::shared_ptr<platform::AVCaptureVideoPreviewLayer> layer() const;
    /// Changes the size of the view and of its preview.
    void resize(platform::CGSize size);

private:
    void follow();
    void rotate();

    const std::shared_ptr<platform::UIView> view_;
    platform::Platform& platform_;
    const std::shared_ptr<platform::DispatchQueue> queue_;
    const std::function<void()> changed_;

    mutable Mutex guard_;
    std::shared_ptr<platform::AVCaptureVideoPreviewLayer> layer_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel
