#include <engine/capture/PreviewLayer.h>

#include <engine/capture/CaptureSession.h>
#include <engine/capture/turnPixels.h>

#include <tamsel/platform/WorkItem.h>

#include <algorithm>

namespace tamsel::engine {

using namespace platform;

namespace {

/// The orientation of a picture that looks right in a mirror of the upright one.
CGImagePropertyOrientation mirrored(CGImagePropertyOrientation upright)
{
    switch (upright) {
    case CGImagePropertyOrientation::right:
        return CGImagePropertyOrientation::leftMirrored;
    case CGImagePropertyOrientation::down:
        return CGImagePropertyOrientation::downMirrored;
    case CGImagePropertyOrientation::left:
        return CGImagePropertyOrientation::rightMirrored;
    default:
        return CGImagePropertyOrientation::upMirrored;
    }
}

CGRect fit(const CGSize& picture, const CGSize& bounds, AVLayerVideoGravity gravity)
{
    if (gravity == AVLayerVideoGravity::resize)
        return {.origin = {}, .size = bounds};
    const double across = bounds.width / picture.width;
    const double down = bounds.height / picture.height;
    const double scale
        = gravity == AVLayerVideoGravity::resizeAspect ? std::min(across, down) : std::max(across, down);
    const CGSize size{picture.width * scale, picture.height * scale};
    return {.origin = {(bounds.width - size.width) / 2, (bounds.height - size.height) / 2}, .size = size};
}

} // namespace

std::shared_ptr<AVCaptureConnection> PreviewLayer::connection() const
{
    const std::shared_ptr<CaptureSession> session = session_.lock();
    return session ? session->previewConnection() : nullptr;
}

void PreviewLayer::setFrameObserver(std::shared_ptr<DispatchQueue> queue, std::function<void()> changed)
{
    std::shared_ptr<Observer> observer;
    if (changed) {
        observer = std::make_shared<Observer>();
        observer->queue = std::move(queue);
        observer->changed = std::move(changed);
    }
    std::shared_ptr<const CVPixelBuffer> unused; // released after the lock, as the earlier observer
    const MutexLock lock(guard_);
    observer_.swap(observer);
    newest_.swap(unused);
}

std::optional<PreviewFrame> PreviewLayer::newestFrame() const
{
    std::shared_ptr<const CVPixelBuffer> newest;
    std::optional<Latest> latest;
    {
        const MutexLock lock(guard_);
        newest = newest_;
        latest = latest_;
    }
    if (!newest)
        return std::nullopt;
    std::optional<PreviewFrame> frame = place(latest);
    if (frame)
        frame->pixels = std::move(newest);
    return frame;
}

std::optional<CGAffineTransform> PreviewLayer::layerTransform() const
{
    std::optional<Latest> latest;
    {
        const MutexLock lock(guard_);
        latest = latest_;
    }
    return place(latest).transform([](const PreviewFrame& frame) { return frame.layerTransform; });
}

/// Without its pixels.
std::optional<PreviewFrame> PreviewLayer::place(const std::optional<Latest>& latest) const
{
    const std::shared_ptr<CaptureSession> session = session_.lock();
    const std::shared_ptr<Connection> connection = session ? session->previewConnection() : nullptr;
    const std::shared_ptr<CameraDevice> camera = connection ? connection->camera() : nullptr;
    if (!latest || !camera)
        return std::nullopt;
    const int turns = quarterTurns(latest->sensorOrientation, connection->videoOrientation());
    PreviewFrame frame;
    frame.orientation = orientationAfter(turns);
    if (connection->automaticallyAdjustsVideoMirroring()
        && camera->position() == AVCaptureDevicePosition::front)
        frame.orientation = mirrored(frame.orientation);
    const CGSize& stored = latest->size;
    frame.rect = fit(turns % 2 == 0 ? stored : CGSize{stored.height, stored.width}, bounds().size, gravity_);
    const CGRect& rect = frame.rect;
    frame.layerTransform = CGAffineTransformConcat(CGAffineTransformMakeUpright(frame.orientation),
        {.a = rect.size.width,
            .b = 0,
            .c = 0,
            .d = rect.size.height,
            .tx = rect.origin.x,
            .ty = rect.origin.y});
    return frame;
}

void PreviewLayer::offer(
    const std::shared_ptr<CVPixelBuffer>& picture, AVCaptureVideoOrientation sensorOrientation)
{
    put(picture,
        Latest{{static_cast<double>(picture->width()), static_cast<double>(picture->height())},
            sensorOrientation});
}

void PreviewLayer::clear()
{
    put(nullptr, std::nullopt);
}

void PreviewLayer::put(std::shared_ptr<const CVPixelBuffer> picture, const std::optional<Latest>& latest)
{
    std::shared_ptr<Observer> observer;
    {
        const MutexLock lock(guard_);
        latest_ = latest;
        if (!observer_)
            return;
        newest_.swap(picture); // the earlier one is released after the lock
        if (!observer_->isPosted.exchange(true))
            observer = observer_;
    }
    if (!observer)
        return;
    observer->queue->async([weak = weak_from_this(), observer] {
        observer->isPosted = false;
        const std::shared_ptr<PreviewLayer> layer = weak.lock();
        if (!layer)
            return;
        {
            const MutexLock lock(layer->guard_);
            if (layer->observer_ != observer)
                return;
        }
        observer->changed();
    });
}

void PreviewLayers::add(std::weak_ptr<PreviewLayer> layer)
{
    const MutexLock lock(guard_);
    layers_.push_back(std::move(layer));
}

std::shared_ptr<PreviewLayer> PreviewLayers::at(std::size_t index)
{
    const MutexLock lock(guard_);
    while (index < layers_.size()) {
        if (std::shared_ptr<PreviewLayer> layer = layers_[index].lock())
            return layer;
        layers_.erase(layers_.begin() + static_cast<std::ptrdiff_t>(index));
    }
    return nullptr;
}

std::size_t PreviewLayers::keptBuffers()
{
    std::size_t buffers = 0;
    for (std::size_t index = 0; const std::shared_ptr<PreviewLayer> layer = at(index); ++index)
        buffers += layer->isObserved() ? 2 : 0;
    return buffers;
}

void PreviewLayers::offer(
    const std::shared_ptr<CVPixelBuffer>& picture, AVCaptureVideoOrientation sensorOrientation)
{
    for (std::size_t index = 0; const std::shared_ptr<PreviewLayer> layer = at(index); ++index)
        layer->offer(picture, sensorOrientation);
}

void PreviewLayers::clear()
{
    for (std::size_t index = 0; const std::shared_ptr<PreviewLayer> layer = at(index); ++index)
        layer->clear();
}

} // namespace tamsel::engine
