#pragma once

#include <host/DigitalZoom.h>
#include <host/DriverServices.h>
#include <host/StopSignal.h>
#include <host/ffmpeg/VideoReader.h>
#include <host/microphone/PlaybackClock.h>

#include <engine/capture/CameraDriver.h>

#include <atomic>
#include <chrono>
#include <expected>
#include <memory>
#include <optional>

namespace tamsel::host {

/// Computes when a frame is due: its time after the first frame. When the input is far behind, the time base moves, so
/// that it continues at its normal pace.
class FramePace {
public:
    [[nodiscard]] std::chrono::nanoseconds dueTime(platform::CMTime mediaTime, std::chrono::nanoseconds now);

private:
    std::optional<std::chrono::nanoseconds> anchor_;
};

/// One start of a media camera, until it is stopped or its input is lost.
class MediaPlayback {
public:
    virtual ~MediaPlayback() = default;

    /// Requests the end; the sink ignores later frames. Never waits.
    virtual void stop() = 0;
};

/// Plays a file, in a loop if it repeats. The timer's thread delivers the frame that is due while another thread decodes the
/// next.
class FilePlayback final : public MediaPlayback, public std::enable_shared_from_this<FilePlayback> {
public:
    [[nodiscard]] static std::expected<std::shared_ptr<MediaPlayback>, platform::Error> start(
        std::unique_ptr<VideoReader> reader, std::shared_ptr<engine::FrameSink> sink,
        std::shared_ptr<const DigitalZoom> zoom, std::shared_ptr<PlaybackClock> clock,
        DriverServices services, bool repeats);

    FilePlayback(std::unique_ptr<VideoReader> reader, std::shared_ptr<engine::FrameSink> sink,
        std::shared_ptr<const DigitalZoom> zoom, std::shared_ptr<PlaybackClock> clock,
        DriverServices services, bool repeats);
    void stop() override;

private:
    void prepareNext();
    void deliverPrepared();

    const std::shared_ptr<engine::FrameSink> sink_;
    const std::shared_ptr<const DigitalZoom> zoom_;
    const std::shared_ptr<platform::DispatchQueue> decodeQueue_;
    const std::shared_ptr<PlaybackClock> clock_;
    const std::uint64_t run_; ///< on the clock
    const bool repeats_;
    std::atomic<bool> isStopped_ = false;
    std::unique_ptr<engine::EventSource> timer_;

    // Used by one thread at a time: `prepareNext` arms the timer, and `deliverPrepared` requests the next frame.
    std::unique_ptr<VideoReader> reader_;
    engine::CapturedFrame prepared_;
    FramePace pace_;
    std::chrono::nanoseconds due_{};
    std::uint64_t loop_ = 0;
    bool hasFrames_ = false;
    std::optional<platform::Error> end_; ///< the reason why there is no further frame
};

/// Reads a stream or a device on a thread of its own: a live one as it arrives, others at the pace of their timestamps.
class StreamPlayback final : public MediaPlayback, public std::enable_shared_from_this<StreamPlayback> {
public:
    [[nodiscard]] static std::expected<std::shared_ptr<MediaPlayback>, platform::Error> start(
        std::unique_ptr<VideoReader> reader, std::shared_ptr<std::atomic<bool>> isCancelled,
        std::shared_ptr<engine::FrameSink> sink, std::shared_ptr<const DigitalZoom> zoom,
        DriverServices services);

    StreamPlayback(std::unique_ptr<VideoReader> reader, std::shared_ptr<std::atomic<bool>> isCancelled,
        std::shared_ptr<engine::FrameSink> sink, std::shared_ptr<const DigitalZoom> zoom);
    void stop() override { stop_.stop(); }

private:
    void read();

    const std::unique_ptr<VideoReader> reader_;
    StopSignal stop_;
    const std::shared_ptr<engine::FrameSink> sink_;
    const std::shared_ptr<const DigitalZoom> zoom_;
};

} // namespace tamsel::host
