#include <engine/record/RecordedCamera.h>

#include <string>

namespace tamsel::engine {

using namespace platform;
using formats::FlightEvent;
using formats::FlightKind;
using std::chrono::nanoseconds;

void RecordedAnswer::record(FlightRecorder& recorder, FlightKind kind, double key, double value)
{
    const double now = recorder.sinceBegin(recorder.now());
    if (last_.exchange(value) != value)
        recorder.add(kind, {key, value, time_});
    time_ = now;
}

/// Passes everything on, and records the loss.
class RecordedCamera::Sink final : public FrameSink {
public:
    Sink(std::shared_ptr<FlightRecorder> recorder, std::shared_ptr<FrameSink> sink, int number)
        : recorder_(std::move(recorder)),
          sink_(std::move(sink)),
          number_(number)
    {
    }

    [[nodiscard]] std::shared_ptr<CVPixelBuffer> acquireBuffer(std::size_t width, std::size_t height) override
    {
        return sink_->acquireBuffer(width, height);
    }
    [[nodiscard]] bool isOpen() const override { return sink_->isOpen(); }
    [[nodiscard]] bool wantsNativePictures() const override { return sink_->wantsNativePictures(); }
    void deliver(CapturedFrame frame) override { sink_->deliver(std::move(frame)); }
    void drop(std::optional<DropCause> cause) override { sink_->drop(cause); }
    void lose(const Error& reason) override
    {
        if (sink_->isOpen()) {
            recorder_->add(FlightKind::cameraLost,
                {static_cast<double>(number_), static_cast<double>(reason.code)},
                reason.localizedDescription);
            recorder_->noteFailure();
        }
        sink_->lose(reason);
    }

private:
    const std::shared_ptr<FlightRecorder> recorder_;
    const std::shared_ptr<FrameSink> sink_;
    const int number_;
};

RecordedCamera::RecordedCamera(
    std::shared_ptr<FlightRecorder> recorder, std::shared_ptr<CameraDriver> driver, int number)
    : recorder_(std::move(recorder)),
      driver_(std::move(driver)),
      number_(number)
{
    const CameraDescription camera = driver_->description();
    const CGSize size
        = camera.presentationDimensions.value_or(CGSize{FlightEvent::absent, FlightEvent::absent});
    recorder_->addInput(FlightKind::camera,
        {static_cast<double>(number), static_cast<double>(camera.position), static_cast<double>(camera.type),
            size.width, size.height, static_cast<double>(camera.sensorOrientation),
            camera.hasTorch ? 1.0 : 0.0},
        camera.name);
}

void RecordedCamera::record(
    FlightKind kind, nanoseconds begin, const std::expected<void, Error>& answer) const
{
    const auto took = static_cast<double>((recorder_->now() - begin).count());
    if (answer)
        recorder_->add(kind, {static_cast<double>(number_), took});
    else
        recorder_->add(kind, {static_cast<double>(number_), took, static_cast<double>(answer.error().code)},
            answer.error().localizedDescription);
}

bool RecordedCamera::isPresent() const
{
    const bool isPresent = driver_->isPresent();
    presence_.record(*recorder_, FlightKind::cameraPresent, number_, isPresent ? 1 : 0);
    return isPresent;
}

std::expected<void, Error> RecordedCamera::open()
{
    const nanoseconds begin = recorder_->now();
    auto answer = driver_->open();
    record(FlightKind::cameraOpened, begin, answer);
    return answer;
}

std::expected<void, Error> RecordedCamera::start(
    AVCaptureSessionPreset preset, std::shared_ptr<FrameSink> sink)
{
    const nanoseconds begin = recorder_->now();
    auto answer = driver_->start(preset, std::make_shared<Sink>(recorder_, std::move(sink), number_));
    record(FlightKind::cameraStarted, begin, answer);
    return answer;
}

void RecordedCamera::stop()
{
    const nanoseconds begin = recorder_->now();
    driver_->stop();
    record(FlightKind::cameraStopped, begin, {});
}

void RecordedFrames::frameProduced(
    std::uint32_t session, const FrameTiming& timing, std::size_t width, std::size_t height)
{
    recorder_->add(FlightKind::frame,
        {static_cast<double>(session), static_cast<double>(timing.sequence),
            recorder_->sinceBegin(timing.captureTime), static_cast<double>(width),
            static_cast<double>(height)});
}

void RecordedFrames::frameVisited(std::uint32_t session, std::uint64_t number, nanoseconds begin)
{
    recorder_->add(FlightKind::visit,
        {static_cast<double>(session), static_cast<double>(number),
            static_cast<double>((recorder_->now() - begin).count())});
}

void RecordedFrames::frameSettled(
    std::uint32_t session, std::uint64_t number, FrameLedger::Outcome outcome, DropCause cause)
{
    const auto of = static_cast<double>(session);
    const auto which = static_cast<double>(number);
    if (outcome == FrameLedger::Outcome::dropped)
        recorder_->add(FlightKind::dropped, {of, which, static_cast<double>(cause)});
    else
        recorder_->add(outcome == FrameLedger::Outcome::delivered ? FlightKind::delivered : FlightKind::gated,
            {of, which});
}

void RecordedHook::called(CaptureCall call, std::string_view detail)
{
    record(call, detail, "");
    hook_->called(call, detail);
}

bool RecordedHook::permits(CaptureCall call, std::string_view detail)
{
    const bool isPermitted = hook_->permits(call, detail);
    record(call, detail, isPermitted ? "" : " refused");
    return isPermitted;
}

void RecordedHook::record(CaptureCall call, std::string_view detail, std::string_view answer) const
{
    std::string text(name(call));
    if (!detail.empty())
        text.append(" ").append(detail);
    recorder_->add(FlightKind::role, {}, text.append(answer));
}

} // namespace tamsel::engine
