#include <simulated/SimulatedCamera.h>

#include <simulated/Scheduler.h>
#include <simulated/showPlaces.h>

#include <utility>

namespace tamsel::simulated {

using namespace platform;

namespace {

Error gone()
{
    return {.localizedDescription = "the simulated camera is not there", .code = 19};
}

} // namespace

SimulatedCamera::SimulatedCamera(CameraScript script, std::string uniqueID, Scheduler& scheduler)
    : script_(std::move(script)),
      uniqueID_(std::move(uniqueID)),
      scheduler_(scheduler)
{
}

engine::CameraDescription SimulatedCamera::description() const
{
    engine::CameraDescription description;
    description.uniqueID = uniqueID_;
    description.name = "Simulated camera";
    description.type = script_.type;
    description.position = script_.position;
    if (script_.tellsDimensions)
        description.presentationDimensions
            = CGSize{static_cast<double>(script_.width), static_cast<double>(script_.height)};
    description.videoFieldOfView = script_.videoFieldOfView;
    description.minimumFocusDistance = script_.minimumFocusDistance;
    description.minZoomFactor = script_.minZoomFactor;
    description.maxZoomFactor = script_.maxZoomFactor;
    description.flashModes = script_.flashModes;
    description.hasTorch = script_.hasTorch;
    description.sensorOrientation = script_.sensorOrientation;
    description.intrinsicMatrix = script_.intrinsicMatrix;
    return description;
}

std::expected<void, Error> SimulatedCamera::open()
{
    scheduler_.spend(script_.timeToOpen);
    if (!script_.isPresent)
        return std::unexpected(gone());
    if (script_.isHeldByAnotherProcess)
        return std::unexpected(
            Error{.localizedDescription = "another process holds the simulated camera", .code = 16});
    auto answered = answer(CameraStep::open);
    isOpen_ = answered.has_value();
    return answered;
}

std::expected<void, Error> SimulatedCamera::answer(CameraStep step) const
{
    std::optional<Error> error = script_.answer ? script_.answer(step) : std::nullopt;
    if (error)
        return std::unexpected(std::move(*error));
    return {};
}

void SimulatedCamera::close()
{
    isOpen_ = false;
}

std::expected<void, Error> SimulatedCamera::start(
    AVCaptureSessionPreset preset, std::shared_ptr<engine::FrameSink> sink)
{
    scheduler_.spend(script_.timeToStart);
    if (!script_.isPresent)
        return std::unexpected(gone());
    preset_ = preset;
    sink_ = std::move(sink); // frames may come before the start has ended
    startTime_ = scheduler_.monotonic();
    auto answered = answer(CameraStep::start);
    if (answered)
        planFrame(++starts_, scheduler_.monotonic());
    else
        sink_ = nullptr;
    return answered;
}

void SimulatedCamera::stop()
{
    sink_ = nullptr;
    scheduler_.spend(script_.timeToStop);
    (void)answer(CameraStep::stop);
}

void SimulatedCamera::planFrame(std::uint64_t start, std::chrono::nanoseconds previous)
{
    if (script_.frameInterval <= std::chrono::nanoseconds::zero())
        return;
    const std::chrono::nanoseconds time = previous + script_.frameInterval;
    scheduler_.at(time, "frame of " + uniqueID_, [weakSelf = weak_from_this(), start, time] {
        const std::shared_ptr<SimulatedCamera> self = weakSelf.lock();
        if (!self || !self->sink_ || self->starts_ != start)
            return;
        self->planFrame(start, time);
        self->produceFrame(time, self->script_.width, self->script_.height);
    });
}

bool SimulatedCamera::produceFrame()
{
    return produceFrame(scheduler_.monotonic(), script_.width, script_.height);
}

/// The driver's thread may be later than the frame.
bool SimulatedCamera::produceFrame(
    std::chrono::nanoseconds captureTime, std::size_t width, std::size_t height)
{
    const std::shared_ptr<engine::FrameSink> sink = sink_;
    if (!sink)
        return false;
    const std::uint64_t number = frames_++;
    const std::shared_ptr<CVPixelBuffer> buffer = sink->acquireBuffer(width, height);
    if (!buffer) {
        sink->drop(DropCause::noBuffer);
        return false;
    }
    showPlaces(*buffer, number);
    sink->deliver({.buffer = buffer,
        .mediaTime = {.value = (captureTime - startTime_).count(), .timescale = 1'000'000'000},
        .captureTime = captureTime});
    return true;
}

void SimulatedCamera::dropFrame(std::optional<DropCause> cause)
{
    if (const std::shared_ptr<engine::FrameSink> sink = sink_)
        sink->drop(cause);
}

void SimulatedCamera::unplug()
{
    script_.isPresent = false;
    lose(gone());
}

void SimulatedCamera::lose(const Error& reason)
{
    if (const std::shared_ptr<engine::FrameSink> sink = std::exchange(sink_, nullptr))
        sink->lose(reason);
}

} // namespace tamsel::simulated
