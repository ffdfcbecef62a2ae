#pragma once

#include <host/DigitalZoom.h>
#include <host/camera/FrameFormat.h>
#include <host/camera/MotionJpegDecoder.h>
#include <host/ffmpeg/FrameConverter.h>
#include <host/v4l2/V4L2Device.h>

#include <engine/capture/CameraDriver.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/Mutex.h>

#include <chrono>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

struct v4l2_buffer;

namespace tamsel::host {

/// One start of a device: its mapped buffers and the event source that empties them. A conversion owns
/// the stream while it runs, so the last owner unmaps the memory, and `stop` does not wait.
class V4L2Stream : public std::enable_shared_from_this<V4L2Stream> {
public:
    /// The device has the format set and no buffers.
    [[nodiscard]] static std::expected<std::shared_ptr<V4L2Stream>, platform::Error> start(
        std::shared_ptr<V4L2Device> device, const FrameFormat& format, engine::EventSources& sources,
        std::shared_ptr<engine::FrameSink> sink, std::shared_ptr<const DigitalZoom> zoom);

    V4L2Stream(std::shared_ptr<V4L2Device> device, const FrameFormat& format,
        std::shared_ptr<engine::FrameSink> sink, std::shared_ptr<const DigitalZoom> zoom);
    ~V4L2Stream();
    V4L2Stream(const V4L2Stream&) = delete;
    V4L2Stream& operator=(const V4L2Stream&) = delete;

    /// After this no frame is taken from the device or delivered, except one whose delivery has begun. The device keeps its
    /// buffers. Thread-safe.
    void stop();

    /// The device has disappeared, and the sink has been notified. Thread-safe.
    [[nodiscard]] bool isLost() const;

private:
    [[nodiscard]] std::expected<void, platform::Error> mapBuffers();
    [[nodiscard]] std::expected<void, platform::Error> begin(engine::EventSources& sources);

    void takeFrame();
    /// 0, EAGAIN if there is nothing to do, or the error with which the device is lost.
    [[nodiscard]] int dequeue(v4l2_buffer& buffer);
    [[nodiscard]] int queueAgain(v4l2_buffer& buffer);
    [[nodiscard]] std::uint32_t missingBefore(std::uint32_t sequence);
    [[nodiscard]] bool isWhole(const v4l2_buffer& buffer) const;
    [[nodiscard]] bool convert(const v4l2_buffer& buffer, platform::CVPixelBuffer& target,
        const std::optional<platform::CGRect>& part);
    [[nodiscard]] std::chrono::nanoseconds captureTimeOf(const v4l2_buffer& buffer);
    void lose(std::string_view what, int number);
    void turnOff();

    const std::shared_ptr<V4L2Device> device_;
    const FrameFormat format_;
    const std::shared_ptr<engine::FrameSink> sink_;
    const std::shared_ptr<const DigitalZoom> zoom_;
    std::vector<std::span<std::byte>> buffers_;

    // Used by the event source only, whose calls never overlap.
    const OwnedFrame frame_{av_frame_alloc()};
    FrameConverter converter_;
    MotionJpegDecoder jpeg_;
    std::optional<std::uint32_t> lastSequence_;
    std::optional<std::chrono::nanoseconds> firstTime_;
    std::chrono::nanoseconds lastTime_{};
    int emptyWakes_ = 0;

    /// Locked for short calls only, never during a conversion or a call of the sink.
    mutable Mutex guard_;
    std::unique_ptr<engine::EventSource> source_ TAMSEL_GUARDED_BY(guard_); ///< absent once it has ended
    bool isLost_ TAMSEL_GUARDED_BY(guard_) = false;
};

} // namespace tamsel::host
