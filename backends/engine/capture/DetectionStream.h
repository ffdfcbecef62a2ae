#pragma once

#include <engine/capture/MetadataOutput.h>

#include <atomic>
#include <memory>

namespace tamsel::engine {

/// Looks at the frames of one start, one at a time: the frame that comes when the look before is over is taken on the
/// driver's thread and looked at on the detection queue; those in between are passed over. A batch goes out when something
/// was found, and one empty batch when it is gone again; at most one waits for the delegate. A look that fails says nothing.
/// What is under way still arrives when the device is lost; once closed, nothing does.
class DetectionStream final : public std::enable_shared_from_this<DetectionStream> {
public:
    DetectionStream(std::shared_ptr<MetadataOutput> output, MetadataServices services,
        std::shared_ptr<platform::DispatchQueue> queue, std::unique_ptr<MetadataDetection> detection);

    /// True when a frame that comes now would be looked at.
    [[nodiscard]] bool wantsFrame() const { return !isBusy_ && !output_->receiver().delegate.expired(); }
    /// A frame of the session, before it is turned and before anybody else has it; on the driver's thread.
    void offer(const MetadataDetection::Frame& frame)
    {
        if (wantsFrame())
            take(frame);
    }
    /// Lets nothing pass any more.
    void close() { isClosed_ = true; }

private:
    void take(const MetadataDetection::Frame& frame);
    void detect();
    void deliver(platform::AVMetadataObjects objects);

    const std::shared_ptr<MetadataOutput> output_;
    const MetadataServices services_;
    const std::shared_ptr<platform::DispatchQueue> queue_;
    std::atomic<bool> isClosed_ = false;
    /// From the taking of a frame until its batch reaches the delegate. Whoever clears it hands `detection_` over.
    std::atomic<bool> isBusy_ = false;
    const std::unique_ptr<MetadataDetection> detection_;
    bool hasFound_ = false; ///< in the look before; on the detection queue only
};

} // namespace tamsel::engine
