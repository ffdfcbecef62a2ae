#pragma once

#include <engine/capture/CameraDriver.h>
#include <engine/capture/CaptureHook.h>
#include <engine/record/FlightRecorder.h>

#include <tamsel/platform/FrameLedger.h>

#include <atomic>
#include <memory>
#include <utility>

namespace tamsel::engine {

/// Records the changes of an answer, each with the time until which the earlier one was given.
class RecordedAnswer {
public:
    void record(FlightRecorder& recorder, formats::FlightKind kind, double key, double value);

private:
    std::atomic<double> last_ = formats::FlightEvent::absent;
    std::atomic<double> time_ = formats::FlightEvent::absent;
};

/// Records the steps and the presence of a camera, and why it was lost. Its frames are seen by `RecordedFrames`.
class RecordedCamera final : public CameraDriver {
public:
    RecordedCamera(
        std::shared_ptr<FlightRecorder> recorder, std::shared_ptr<CameraDriver> driver, int number);

    [[nodiscard]] CameraDescription description() const override { return driver_->description(); }
    [[nodiscard]] bool isPresent() const override;
    [[nodiscard]] std::expected<void, platform::Error> open() override;
    void close() override { driver_->close(); }
    [[nodiscard]] std::expected<void, platform::Error> start(
        platform::AVCaptureSessionPreset preset, std::shared_ptr<FrameSink> sink) override;
    void stop() override;
    void setZoomFactor(double factor) override { driver_->setZoomFactor(factor); }
    void setTorchMode(platform::AVCaptureTorchMode mode) override { driver_->setTorchMode(mode); }

private:
    class Sink;

    void record(formats::FlightKind kind, std::chrono::nanoseconds begin,
        const std::expected<void, platform::Error>& answer) const;

    const std::shared_ptr<FlightRecorder> recorder_;
    const std::shared_ptr<CameraDriver> driver_;
    const int number_;
    mutable RecordedAnswer presence_;
};

/// Records each frame, its way and its end.
class RecordedFrames final : public platform::FrameObserver {
public:
    explicit RecordedFrames(std::shared_ptr<FlightRecorder> recorder) : recorder_(std::move(recorder)) { }

    [[nodiscard]] std::uint32_t sessionBegins() override { return ++sessions_; }
    void frameProduced(std::uint32_t session, const platform::FrameTiming& timing, std::size_t width,
        std::size_t height) override;
    void frameVisited(std::uint32_t session, std::uint64_t number, std::chrono::nanoseconds begin) override;
    void frameSettled(std::uint32_t session, std::uint64_t number, platform::FrameLedger::Outcome outcome,
        platform::DropCause cause) override;
    [[nodiscard]] std::chrono::nanoseconds now() const override { return recorder_->now(); }

private:
    const std::shared_ptr<FlightRecorder> recorder_;
    std::atomic<std::uint32_t> sessions_ = 0;
};

/// Records the calls of the capture roles, and passes them on.
class RecordedHook final : public CaptureHook {
public:
    RecordedHook(std::shared_ptr<FlightRecorder> recorder, std::shared_ptr<CaptureHook> hook)
        : recorder_(std::move(recorder)),
          hook_(std::move(hook))
    {
    }

    void called(CaptureCall call, std::string_view detail) override;
    [[nodiscard]] bool permits(CaptureCall call, std::string_view detail) override;
    void setting(std::string_view name, std::string_view value) override { hook_->setting(name, value); }

private:
    void record(CaptureCall call, std::string_view detail, std::string_view answer) const;

    const std::shared_ptr<FlightRecorder> recorder_;
    const std::shared_ptr<CaptureHook> hook_;
};

} // namespace tamsel::engine
