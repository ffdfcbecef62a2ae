#pragma once

#include <host/DigitalZoom.h>
#include <host/DriverServices.h>

#include <engine/capture/CameraDriver.h>

#include <expected>
#include <memory>
#include <mutex>
#include <string_view>

namespace tamsel::host {

/// Size and rate of a test pattern.
struct PatternFormat {
    std::size_t width = 1280;
    std::size_t height = 720;
    double framesPerSecond = 30;

    /// "720p", "1080p", "480p", or "WIDTHxHEIGHT", each with an optional "@RATE" (default 30); the error describes the
    /// problem.
    [[nodiscard]] static std::expected<PatternFormat, platform::Error> parse(std::string_view name);
};

/// Draws frame `number`: eight colour bars, a bar that moves to the right, the frame's number in the middle, and a
/// white corner with a black edge at the top left, so that rotated and mirrored pictures can be distinguished.
void drawPattern(platform::CVPixelBuffer& buffer, std::uint64_t number);

/// A camera that shows a test pattern.
class PatternCamera final : public engine::CameraDriver {
public:
    PatternCamera(const HostInput& input, PatternFormat format, platform::AVCaptureDevicePosition position,
        DriverServices services);
    ~PatternCamera() override;

    [[nodiscard]] engine::CameraDescription description() const override { return description_; }
    [[nodiscard]] bool isPresent() const override { return true; }
    [[nodiscard]] std::expected<void, platform::Error> open() override { return {}; }
    void close() override { }
    [[nodiscard]] std::expected<void, platform::Error> start(
        platform::AVCaptureSessionPreset preset, std::shared_ptr<engine::FrameSink> sink) override;
    void stop() override;
    void setZoomFactor(double factor) override { zoom_->set(factor); }

private:
    class Playback;

    const PatternFormat format_;
    const DriverServices services_;
    const std::shared_ptr<DigitalZoom> zoom_ = std::make_shared<DigitalZoom>();
    engine::CameraDescription description_;
    std::shared_ptr<Playback> playback_;
};

} // namespace tamsel::host
