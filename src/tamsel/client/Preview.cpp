#include <tamsel/client/Preview.h>

#include <tamsel/camera/videoOrientation.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/WorkItem.h>

#include <utility>

namespace tamsel {

using namespace platform;

std::shared_ptr<Preview> Preview::create(std::shared_ptr<UIView> view, Platform& platform,
    std::shared_ptr<DispatchQueue> queue, std::function<void()> changed)
{
    auto preview = std::make_shared<Preview>(
        Private{}, std::move(view), platform, std::move(queue), std::move(changed));
    preview->view_->layer()->setSublayerObserver(
        whileAlive(std::weak_ptr(preview), [](Preview& self) { self.follow(); }));
    preview->follow();
    return preview;
}

Preview::Preview(Private /*key*/, std::shared_ptr<UIView> view, Platform& platform,
    std::shared_ptr<DispatchQueue> queue, std::function<void()> changed)
    : view_(std::move(view)),
      platform_(platform),
      queue_(std::move(queue)),
      changed_(std::move(changed))
{
}

Preview::~Preview()
{
    view_->layer()->setSublayerObserver(nullptr);
    if (const auto last = layer())
        last->setFrameObserver(nullptr, nullptr);
}

std::optional<PreviewFrame> Preview::newestFrame()
{
    rotate();
    const auto last = layer();
    return last ? last->newestFrame() : std::nullopt;
}

std::shared_ptr<AVCaptureVideoPreviewLayer> Preview::layer() const
{
    const MutexLock lock(guard_);
    return layer_;
}

void Preview::resize(CGSize size)
{
    view_->layer()->setFrame({.origin = {}, .size = size});
    if (const auto last = layer())
        last->setFrame({.origin = {}, .size = size});
}

void Preview::follow()
{
    std::shared_ptr<AVCaptureVideoPreviewLayer> latest;
    for (const std::shared_ptr<CALayer>& sublayer : view_->layer()->sublayers()) {
        auto preview = std::dynamic_pointer_cast<AVCaptureVideoPreviewLayer>(sublayer);
        if (!preview)
            continue;
        if (latest)
            view_->layer()->removeSublayer(latest);
        latest = std::move(preview);
    }
    if (!latest)
        return;
    {
        const MutexLock lock(guard_);
        if (layer_ == latest)
            return;
        layer_ = latest;
    }
    latest->setFrame(view_->layer()->bounds()); // the view may have been resized meanwhile
    latest->setFrameObserver(queue_, whileAlive(weak_from_this(), [](Preview& self) {
        self.rotate();
        self.changed_();
    }));
}

/// The layer has no connection before its session has a camera, so this is done for each picture.
void Preview::rotate()
{
    const auto last = layer();
    const std::shared_ptr<AVCaptureConnection> connection = last ? last->connection() : nullptr;
    const AVCaptureVideoOrientation upright = videoOrientation(platform_.application.statusBarOrientation());
    if (connection && connection->videoOrientation() != upright)
        connection->setVideoOrientation(upright);
}

} // namespace tamsel
