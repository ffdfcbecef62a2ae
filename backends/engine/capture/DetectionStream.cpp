#include <engine/capture/DetectionStream.h>

#include <utility>

namespace tamsel::engine {

using namespace platform;

DetectionStream::DetectionStream(std::shared_ptr<MetadataOutput> output, MetadataServices services,
    std::shared_ptr<DispatchQueue> queue, std::unique_ptr<MetadataDetection> detection)
    : output_(std::move(output)),
      services_(std::move(services)),
      queue_(std::move(queue)),
      detection_(std::move(detection))
{
}

void DetectionStream::take(const MetadataDetection::Frame& frame)
{
    if (!services_.attempt([&] { detection_->take(frame); }))
        return;
    isBusy_ = true;
    captureTime_ = frame.captureTime;
    queue_->async([self = shared_from_this()] { self->detect(); });
}

void DetectionStream::detect()
{
    if (isClosed_)
        return; // and stays busy, so that no further frame is taken
    AVMetadataObjects objects;
    const bool isKnown = services_.attempt([&] { objects = detection_->detect(); });
    const bool isNews = isKnown && (!objects.empty() || hasFound_);
    for (std::shared_ptr<const AVMetadataObject>& object : objects) {
        if (!object)
            continue; // the client does not get it
        const std::shared_ptr<AVMetadataObject> timed = object->copy();
        timed->setCaptureTime(captureTime_);
        object = timed;
    }
    if (isKnown)
        hasFound_ = !objects.empty();
    if (isNews)
        deliver(std::move(objects));
    else
        isBusy_ = false;
}

void DetectionStream::deliver(AVMetadataObjects objects)
{
    const std::shared_ptr<DispatchQueue> queue = output_->receiver().queue;
    if (!queue) {
        isBusy_ = false;
        return;
    }
    queue->async([self = shared_from_this(), objects = std::move(objects)] {
        self->isBusy_ = false;
        const auto delegate = self->isClosed_ ? nullptr : self->output_->receiver().delegate.lock();
        if (delegate)
            delegate->captureOutputDidOutputMetadataObjects(objects);
    });
}

} // namespace tamsel::engine
