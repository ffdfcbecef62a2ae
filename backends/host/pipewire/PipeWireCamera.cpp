#include <host/pipewire/PipeWireCamera.h>

#include <host/pipewire/PipeWireConnection.h>
#include <host/pipewire/PipeWireFrameStream.h>
#include <host/pipewire/pipeWireInputs.h>

#include <chrono>
#include <utility>

namespace tamsel::host {

using platform::Error;

PipeWireCamera::PipeWireCamera(
    const HostInput& input, platform::AVCaptureDevicePosition position, DriverServices services)
    : input_(input.input),
      hasOrientation_(input.sensorOrientation.has_value()),
      services_(std::move(services)),
      description_(describeInput(input, position))
{
}

PipeWireCamera::~PipeWireCamera()
{
    stop();
}

engine::CameraDescription PipeWireCamera::description() const
{
    const MutexLock lock(guard_);
    return description_;
}

InputAccess PipeWireCamera::access() const
{
    return services_.pipeWireDescriptor ? InputAccess::readable : pipeWireAccess();
}

PipeWireWait PipeWireCamera::waitUnless(std::function<bool()> isUnwanted)
{
    return {.end = std::chrono::steady_clock::now()
            + std::chrono::ceil<std::chrono::steady_clock::duration>(services_.openingLimit),
        .isUnwanted = [this, isUnwanted = std::move(isUnwanted)] {
            return isAbandoned_ || (isUnwanted && isUnwanted());
        }};
}

std::expected<FoundNode, Error> PipeWireCamera::find(const PipeWireWait& wait)
{
    std::expected<int, Error> descriptor = services_.pipeWireDescriptor ? services_.pipeWireDescriptor() : -1;
    if (!descriptor)
        return std::unexpected(std::move(descriptor.error()));
    return findPipeWireInput(input_, PipeWireKind::camera, description().position, *descriptor, wait);
}

std::expected<void, Error> PipeWireCamera::open()
{
    const auto found = find(waitUnless(nullptr));
    if (!found)
        return std::unexpected(found.error());
    const MutexLock lock(guard_);
    if (!hasOrientation_ && found->node.sensorOrientation)
        description_.sensorOrientation = *found->node.sensorOrientation;
    return {};
}

void PipeWireCamera::close()
{
    stop();
}

std::expected<void, Error> PipeWireCamera::start(
    platform::AVCaptureSessionPreset preset, std::shared_ptr<engine::FrameSink> sink)
{
    stop();
    if (const std::shared_ptr<PipeWireFrameStream> ending = ending_.lock())
        ending->close(); // its format would bind the camera
    const PipeWireWait wait = waitUnless([sink] { return !sink->isOpen(); });
    auto found = find(wait);
    if (!found)
        return std::unexpected(std::move(found.error()));
    auto stream = PipeWireFrameStream::start(
        titleOf(input_), std::move(*found), preset, std::move(sink), zoom_, services_, wait);
    if (!stream)
        return std::unexpected(std::move(stream.error()));
    stream_ = std::move(*stream);
    const MutexLock lock(guard_);
    description_.presentationDimensions = stream_->size();
    return {};
}

void PipeWireCamera::stop()
{
    if (!stream_)
        return;
    stream_->stop();
    ending_ = stream_;
    services_.dispatch.globalQueue()->async([stream = std::exchange(stream_, nullptr)] { stream->close(); });
}

} // namespace tamsel::host
