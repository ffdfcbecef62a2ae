#pragma once

#include <engine/capture/MetadataOutput.h>

#include <atomic>
#include <chrono>
#include <memory>

namespace tamsel::engine {

/// Detects in the frames of one start, one frame at a time: it is copied on the driver's thread and searched on the
/// detection queue; frames that arrive meanwhile are skipped. A batch is delivered when something was found, and one
/// empty batch when nothing is found any more; at most one waits for the delegate. A failed detection delivers nothing.
/// Posted batches are still delivered when the device is lost, but not after `close`.
class DetectionStream final : public std::enable_shared_from_this<DetectionStream> {
public:
    DetectionStream(std::shared_ptr<MetadataOutput> output, MetadataServices services,
        std::shared_ptr<platform::DispatchQueue> queue, std::unique_ptr<MetadataDetection> detection);

    /// Whether a frame would be searched now.
    [[nodiscard]] bool wantsFrame() const { return !isBusy_ && !output_->receiver().delegate.expired(); }
    /// A frame that it wants, as the sensor stores it, before it is delivered; on the driver's thread.
    void take(const MetadataDetection::Frame& frame);
    /// Delivers nothing from now on.
    void close() { isClosed_ = true; }

private:
    void detect();
    void deliver(platform::AVMetadataObjects objects);

    const std::shared_ptr<MetadataOutput> output_;
    const MetadataServices services_;
    const std::shared_ptr<platform::DispatchQueue> queue_;
    std::atomic<bool> isClosed_ = false;
    /// From the copy of a frame until its batch reaches the delegate; determines the thread that may use `detection_`.
    std::atomic<bool> isBusy_ = false;
    const std::unique_ptr<MetadataDetection> detection_;
    std::chrono::nanoseconds captureTime_{}; ///< of the frame; written while not busy, read while busy
    bool hasFound_ = false; ///< in the previous frame; on the detection queue only
};

} // namespace tamsel::engine
