#include <host/pipewire/PipeWireCamera.h>

#include <host/HostCamera.h>
#include <host/pipewire/PipeWireConnection.h>
#include <host/pipewire/PipeWireNode.h>
#include <host/pipewire/PipeWireStream.h>
#include <host/pipewire/pipeWireCameras.h>

#include <cerrno>
#include <chrono>
#include <utility>

namespace tamsel::host {

using platform::Error;

namespace {

/// For errors.
std::string titleOf(const std::string& input)
{
    return input == pipeWirePrefix ? "pipewire" : input;
}

} // namespace

struct PipeWireCamera::Found {
    std::shared_ptr<PipeWireConnection> connection;
    PipeWireNode node;
    PipeWireWait wait;
};

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
    return services_.pipeWireDescriptor ? InputAccess::readable : inputAccess(pipeWireSocket(), R_OK | W_OK);
}

std::expected<PipeWireCamera::Found, Error> PipeWireCamera::find(std::function<bool()> isUnwanted)
{
    const PipeWireWait wait{.end = std::chrono::steady_clock::now()
            + std::chrono::ceil<std::chrono::steady_clock::duration>(services_.openingLimit),
        .isUnwanted = [this, isUnwanted = std::move(isUnwanted)] {
            return isAbandoned_ || (isUnwanted && isUnwanted());
        }};
    std::expected<int, Error> descriptor = services_.pipeWireDescriptor ? services_.pipeWireDescriptor() : -1;
    if (!descriptor)
        return std::unexpected(std::move(descriptor.error()));
    auto connection = PipeWireConnection::open(*descriptor, wait);
    if (!connection)
        return std::unexpected(
            Error{.localizedDescription = titleOf(input_) + ": " + connection.error().localizedDescription,
                .code = connection.error().code});
    const std::string name = input_.substr(pipeWirePrefix.size());
    auto node = findCamera((*connection)->cameras(), name, description().position);
    if (!node)
        return std::unexpected(
            Error{.localizedDescription = titleOf(input_) + ": PipeWire has no such camera", .code = ENODEV});
    return Found{std::move(*connection), std::move(*node), wait};
}

std::expected<void, Error> PipeWireCamera::open()
{
    const auto found = find(nullptr);
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
    if (const std::shared_ptr<PipeWireStream> ending = ending_.lock())
        ending->close(); // its format would bind the camera
    auto found = find([sink] { return !sink->isOpen(); });
    if (!found)
        return std::unexpected(std::move(found.error()));
    auto stream = PipeWireStream::start(titleOf(input_), std::move(found->connection), found->node, preset,
        std::move(sink), zoom_, services_, found->wait);
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
