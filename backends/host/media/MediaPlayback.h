#pragma once

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

/// Says when a frame is due: as long after the first as its time says. An input that has fallen behind for long is not
/// hurried after, but goes on from where it is.
class FramePace {
public:
    [[nodiscard]] std::chrono::nanoseconds dueTime(platform::CMTime mediaTime, std::chrono::nanoseconds now);

private:
    std::optional<std::chrono::nanoseconds> anchor_;
};

/// One start of a movie camera, until it is stopped or its input is lost.
class MediaPlayback {
public:
    virtual ~MediaPlayback() = default;

    /// Asks it to end; frames that come after this are ignored by their sink. Never waits.
    virtual void stop() = 0;
};

/// Plays a file, in a loop when it repeats. A timer's thread hands the frame that is due on, while another one decodes the next.
class FilePlayback final : public MediaPlayback, public std::enable_shared_from_this<FilePlayback> {
public:
    [[nodiscard]] static std::expected<std::shared_ptr<MediaPlayback>, platform::Error> start(
        std::unique_ptr<VideoReader> reader, std::shared_ptr<engine::FrameSink> sink,
        std::shared_ptr<PlaybackClock> clock, DriverServices services, bool repeats);

    FilePlayback(std::unique_ptr<VideoReader> reader, std::shared_ptr<engine::FrameSink> sink,
        std::shared_ptr<PlaybackClock> clock, DriverServices services, bool repeats);
    void stop() override;

private:
    void prepareNext();
    void handOn();

    const std::shared_ptr<engine::FrameSink> sink_;
    const std::shared_ptr<platform::DispatchQueue> decodeQueue_;
    const std::shared_ptr<PlaybackClock> clock_;
    const std::uint64_t run_; ///< on the clock
    const bool repeats_;
    std::atomic<bool> isStopped_ = false;
    std::unique_ptr<engine::EventSource> timer_;

    // Touched by one at a time: preparing arms the timer, and handing on asks for the next to be prepared.
    std::unique_ptr<VideoReader> reader_;
    engine::CapturedFrame prepared_;
    FramePace pace_;
    std::chrono::nanoseconds due_{};
    std::uint64_t loop_ = 0;
    bool hasFrames_ = false;
    std::optional<platform::Error> end_; ///< why there is no further frame
};

/// Reads a stream or a device on a thread of its own.
class StreamPlayback final : public MediaPlayback, public std::enable_shared_from_this<StreamPlayback> {
public:
    [[nodiscard]] static std::expected<std::shared_ptr<MediaPlayback>, platform::Error> start(
        std::unique_ptr<VideoReader> reader, std::shared_ptr<std::atomic<bool>> isCancelled,
        std::shared_ptr<engine::FrameSink> sink, DriverServices services);

    StreamPlayback(std::unique_ptr<VideoReader> reader, std::shared_ptr<std::atomic<bool>> isCancelled,
        std::shared_ptr<engine::FrameSink> sink);
    void stop() override { stop_.stop(); }

private:
    void read();

    const std::unique_ptr<VideoReader> reader_;
    StopSignal stop_;
    const std::shared_ptr<engine::FrameSink> sink_;
};

} // namespace tamsel::host
