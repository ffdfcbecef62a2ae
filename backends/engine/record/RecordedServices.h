#pragma once

#include <engine/capture/MetadataDetector.h>
#include <engine/capture/MicrophoneDriver.h>
#include <engine/capture/MovieWriter.h>
#include <engine/capture/PhotoEncoder.h>
#include <engine/motion/MotionDriver.h>
#include <engine/record/RecordedCamera.h>

#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/UIDevice.h>
#include <tamsel/platform/core/ReportSink.h>

#include <atomic>
#include <memory>
#include <utility>

// Each records what the part of a back end behind it delivers or answers.

namespace tamsel::engine {

/// What is behind a recorded part.
template <typename Inner> class Recorded {
public:
    Recorded(std::shared_ptr<FlightRecorder> recorder, Inner inner)
        : recorder_(std::move(recorder)),
          inner_(std::forward<Inner>(inner))
    {
    }

protected:
    const std::shared_ptr<FlightRecorder> recorder_;
    const Inner inner_;
};

/// The readings of motion sensors.
class RecordedMotion final : public MotionDriver, private Recorded<std::shared_ptr<MotionDriver>> {
public:
    using Recorded::Recorded;

    [[nodiscard]] bool hasGyro() const override;
    [[nodiscard]] bool hasDeviceMotion() const override;
    void streamStarts(std::chrono::nanoseconds time) override { inner_->streamStarts(time); }
    [[nodiscard]] std::shared_ptr<void> use(MotionService service, std::chrono::nanoseconds interval) override
    {
        return inner_->use(service, interval);
    }
    [[nodiscard]] std::optional<GyroReading> readGyro(std::chrono::nanoseconds time) override;
    [[nodiscard]] std::optional<DeviceMotionReading> readDeviceMotion(std::chrono::nanoseconds time) override;

private:
    mutable RecordedAnswer gyro_;
    mutable RecordedAnswer deviceMotion_;
};

/// The codes and faces of each detection.
class RecordedDetector final : public MetadataDetector, private Recorded<std::shared_ptr<MetadataDetector>> {
public:
    using Recorded::Recorded;

    [[nodiscard]] std::vector<platform::AVMetadataObjectType> detectableTypes() const override
    {
        return inner_->detectableTypes();
    }
    [[nodiscard]] std::unique_ptr<MetadataDetection> begin(
        std::vector<platform::AVMetadataObjectType> types) override;

private:
    class Detection;
};

/// How the files of movies open, fail and end.
class RecordedMovieWriters final : public MovieWriters, private Recorded<MovieWriters&> {
public:
    using Recorded::Recorded;

    [[nodiscard]] std::unique_ptr<MovieWriter> makeWriter(MovieSettings settings) override;

private:
    class Writer;

    std::atomic<int> movies_ = 0;
};

/// The size of each still's file.
class RecordedEncoder final : public PhotoEncoder, private Recorded<PhotoEncoder&> {
public:
    using Recorded::Recorded;

    [[nodiscard]] std::optional<std::vector<std::byte>> encodePhoto(
        const platform::CVPixelBuffer& pixels, const platform::PropertyDictionary& properties) override;
};

/// The start and the loss of a microphone.
class RecordedMicrophone final : public MicrophoneDriver,
                                 private Recorded<std::shared_ptr<MicrophoneDriver>> {
public:
    RecordedMicrophone(std::shared_ptr<FlightRecorder> recorder, std::shared_ptr<MicrophoneDriver> driver);

    [[nodiscard]] std::string uniqueID() const override { return inner_->uniqueID(); }
    [[nodiscard]] std::string name() const override { return inner_->name(); }
    [[nodiscard]] bool isPresent() const override { return inner_->isPresent(); }
    [[nodiscard]] std::expected<std::unique_ptr<SoundStream>, platform::Error> start(
        std::shared_ptr<SoundSink> sink) override;

private:
    class Sink;
};

/// The orientation of the device.
class RecordedDevice final : public platform::UIDevice, private Recorded<platform::UIDevice&> {
public:
    using Recorded::Recorded;

    [[nodiscard]] platform::UIDeviceOrientation orientation() const override;
    [[nodiscard]] std::string systemVersion() const override { return inner_.systemVersion(); }
    [[nodiscard]] std::string model() const override { return inner_.model(); }

private:
    mutable RecordedAnswer orientation_;
};

/// Reports to the product.
class RecordedReports final : public platform::ReportSink, private Recorded<platform::ReportSink&> {
public:
    using Recorded::Recorded;

    void report(const platform::TamselError& error) override;
};

/// Diagnostic lines.
class RecordedLines final : public platform::DiagnosticLines, private Recorded<platform::DiagnosticLines&> {
public:
    using Recorded::Recorded;

    void writeLine(std::string_view line) override;
};

} // namespace tamsel::engine
