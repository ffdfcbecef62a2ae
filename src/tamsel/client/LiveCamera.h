#pragma once

#include <tamsel/client/ForwardingDelegate.h>
#include <tamsel/client/Preview.h>
#include <tamsel/client/SourceCallbacks.h>
#include <tamsel/facade/OvriSourceManager.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace tamsel {

/// Keeps the camera of a manager running: it replaces one camera by another, and starts a camera again that is lost, missing
/// or not permitted. It asks nobody for the permission. It has a preview and controls zoom and torch. Use and destroy it on the response queue, for example on the main
/// thread when that is the main queue.
class LiveCamera {
public:
    /// Whether pictures come, and if not, why.
    enum class State : std::uint8_t {
        starting, ///< no frame has come yet; also before the first start
        running,
        missing, ///< lost, or cannot be opened; it is started again after each `retryInterval`
        suspended, ///< the application is in the background
        refused, ///< the camera may not be used; it is started once the permission is given
    };
    static constexpr std::chrono::nanoseconds retryInterval = std::chrono::seconds(1);

    /// Starts nothing. Sessions call `delegate`, which is held weakly; in its callbacks the state is up to date.
    /// `pictureChanged` is that of `Preview::create`. The queue must be the manager's. The platform must outlive this object.
    LiveCamera(std::shared_ptr<OvriSourceManager> manager,
        const std::shared_ptr<OvriSourceToSession>& delegate,
        std::shared_ptr<platform::DispatchQueue> responseQueue, platform::Platform& platform,
        std::function<void()> pictureChanged);
    LiveCamera(const LiveCamera&) = delete;
    LiveCamera& operator=(const LiveCamera&) = delete;

    /// Starts `SourceType::cameraBack` or `cameraFront`, once the camera before has stopped, whose torch goes out.
    void start(const SourceType& camera, Configurations configurations = {});
    /// The same for the camera of the other side. False when there is none.
    [[nodiscard]] bool switchSide();
    [[nodiscard]] State state() const { return isSuspended_ ? State::suspended : state_; }
    [[nodiscard]] Preview& preview() const { return *preview_; }

    /// With the product's settings, but the torch stays as it is.
    void captureStill();
    /// False when the camera has no torch, or is gone.
    [[nodiscard]] bool toggleTorch();
    [[nodiscard]] bool isTorchOn() const { return isTorchOn_; }
    /// Multiplies the zoom within the camera's range, and returns the new factor; absent when the camera is gone.
    std::optional<double> zoomBy(double factor);

private:
    void open();
    void planRetry();
    void retry();
    void take(const SourceError& error);
    void resume();
    [[nodiscard]] std::shared_ptr<platform::AVCaptureDevice> device() const;

    const std::shared_ptr<OvriSourceManager> manager_;
    const std::shared_ptr<platform::DispatchQueue> responseQueue_;
    platform::Platform& platform_;
    const std::shared_ptr<platform::UIView> view_ = std::make_shared<platform::UIView>();
    const std::shared_ptr<Preview> preview_;
    const std::shared_ptr<CallbackDelegate> self_; ///< whose weak references end with this object
    const std::shared_ptr<ForwardingDelegate> delegates_;

    SourceType camera_ = SourceType::cameraBack(false);
    Configurations configurations_;
    State state_ = State::starting; ///< as if in the foreground
    bool isSuspended_ = false;
    bool isStopping_ = false; ///< the camera before
    bool isRetryPlanned_ = false;
    bool isTorchOn_ = false;
};

} // namespace tamsel
