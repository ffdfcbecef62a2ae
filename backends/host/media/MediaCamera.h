#pragma once

#include <host/DigitalZoom.h>
#include <host/DriverServices.h>
#include <host/ffmpeg/VideoReader.h>
#include <host/microphone/PlaybackClock.h>

#include <engine/capture/CameraDriver.h>

#include <tamsel/Mutex.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tamsel::host {

class MediaPlayback;

/// A camera that shows a file, a stream or a device that the FFmpeg libraries open.
class MediaCamera final : public engine::CameraDriver {
public:
    MediaCamera(const HostInput& input, platform::AVCaptureDevicePosition position, DriverServices services);
    ~MediaCamera() override;

    [[nodiscard]] engine::CameraDescription description() const override;
    [[nodiscard]] bool isPresent() const override { return access() != InputAccess::absent; }
    [[nodiscard]] InputAccess access() const;
    /// See `HostCamera::abandon`.
    void abandon();
    [[nodiscard]] std::expected<void, platform::Error> open() override { return open(nullptr); }
    void close() override;
    [[nodiscard]] std::expected<void, platform::Error> start(
        platform::AVCaptureSessionPreset preset, std::shared_ptr<engine::FrameSink> sink) override;
    void stop() override;
    void setZoomFactor(double factor) override { zoom_->set(factor); }

    /// Runs while a file is played, not for streams.
    [[nodiscard]] const std::shared_ptr<PlaybackClock>& clock() const { return clock_; }

private:
    [[nodiscard]] std::expected<void, platform::Error> open(std::function<bool()> isUnwanted);

    const std::string input_;
    const bool repeats_;
    const DriverServices services_;
    const std::shared_ptr<DigitalZoom> zoom_ = std::make_shared<DigitalZoom>();
    const std::shared_ptr<PlaybackClock> clock_ = std::make_shared<PlaybackClock>();
    mutable Mutex guard_;
    engine::CameraDescription description_ TAMSEL_GUARDED_BY(guard_);
    std::shared_ptr<std::atomic<bool>> isCancelled_ TAMSEL_GUARDED_BY(guard_);
    bool isAbandoned_ TAMSEL_GUARDED_BY(guard_) = false;

    std::unique_ptr<VideoReader> reader_; ///< opened, not yet playing
    std::shared_ptr<MediaPlayback> playback_;
};

} // namespace tamsel::host
