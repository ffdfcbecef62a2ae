#include <engine/capture/SessionGraph.h>

#include <engine/capture/CaptureContext.h>

#include <algorithm>
#include <utility>

namespace tamsel::engine {

using namespace platform;

namespace {

std::shared_ptr<AVCaptureDevice> deviceOf(const std::shared_ptr<AVCaptureInput>& input)
{
    const auto deviceInput = std::dynamic_pointer_cast<AVCaptureDeviceInput>(input);
    return deviceInput ? deviceInput->device() : nullptr;
}

std::shared_ptr<OutputPlace> placeOf(const std::shared_ptr<AVCaptureOutput>& output)
{
    return std::dynamic_pointer_cast<OutputPlace>(output);
}

} // namespace

SessionGraph::~SessionGraph()
{
    for (const std::shared_ptr<AVCaptureOutput>& output : outputs_)
        placeOf(output)->leaveSession();
}

std::string_view SessionGraph::describe(const std::shared_ptr<AVCaptureInput>& input)
{
    const std::shared_ptr<AVCaptureDevice> device = deviceOf(input);
    return !device ? "none" : device->mediaType() == AVMediaType::audio ? "audio" : "video";
}

std::string_view SessionGraph::describe(const std::shared_ptr<AVCaptureOutput>& output)
{
    const std::shared_ptr<OutputPlace> place = placeOf(output);
    return place ? place->kind() : "none";
}

bool SessionGraph::accepts(const std::shared_ptr<AVCaptureInput>& input) const
{
    const std::shared_ptr<AVCaptureDevice> device = deviceOf(input);
    if (!device)
        return false;
    const MutexLock lock(guard_);
    return std::ranges::none_of(inputs_, [&](const std::shared_ptr<AVCaptureInput>& present) {
        return deviceOf(present)->mediaType() == device->mediaType();
    });
}

void SessionGraph::add(std::shared_ptr<AVCaptureInput> input)
{
    const MutexLock lock(guard_);
    inputs_.push_back(std::move(input));
    connect();
}

bool SessionGraph::remove(const std::shared_ptr<AVCaptureInput>& input)
{
    const MutexLock lock(guard_);
    if (std::erase(inputs_, input) == 0)
        return false;
    connect();
    return true;
}

bool SessionGraph::accepts(const std::shared_ptr<AVCaptureOutput>& output) const
{
    const std::shared_ptr<OutputPlace> place = placeOf(output);
    if (!place || place->isInSession())
        return false;
    const MutexLock lock(guard_);
    return std::ranges::none_of(outputs_,
        [&](const std::shared_ptr<AVCaptureOutput>& present) { return describe(present) == place->kind(); });
}

void SessionGraph::add(std::shared_ptr<AVCaptureOutput> output)
{
    const std::shared_ptr<OutputPlace> place = placeOf(output);
    if (!place || !place->enterSession())
        return;
    const MutexLock lock(guard_);
    outputs_.push_back(std::move(output));
    connect();
}

void SessionGraph::remove(const std::shared_ptr<AVCaptureOutput>& output)
{
    const MutexLock lock(guard_);
    if (std::erase(outputs_, output) > 0)
        placeOf(output)->leaveSession();
}

SessionOutputs SessionGraph::outputsByKind() const
{
    SessionOutputs all;
    for (const std::shared_ptr<AVCaptureOutput>& output : outputs())
        placeOf(output)->addTo(all);
    return all;
}

std::shared_ptr<CameraDevice> SessionGraph::camera(const std::shared_ptr<AVCaptureInput>& input) const
{
    const auto& cameras = context_->cameras;
    const auto found = std::ranges::find(cameras, deviceOf(input));
    return found != cameras.end() ? *found : nullptr;
}

std::shared_ptr<CameraDevice> SessionGraph::firstCamera() const
{
    for (const std::shared_ptr<AVCaptureInput>& input : inputs_) {
        if (std::shared_ptr<CameraDevice> device = camera(input))
            return device;
    }
    return nullptr;
}

std::shared_ptr<MicrophoneDriver> SessionGraph::microphone() const
{
    const std::shared_ptr<MicrophoneDevice>& microphone = context_->microphone;
    const MutexLock lock(guard_);
    const bool isInput = microphone
        && std::ranges::any_of(inputs_,
            [&](const std::shared_ptr<AVCaptureInput>& input) { return deviceOf(input) == microphone; });
    return isInput ? microphone->driver() : nullptr;
}

/// Keeps existing connections while there is a camera.
void SessionGraph::connect()
{
    const std::shared_ptr<CameraDevice> device = firstCamera();
    const auto connection = [&](const std::shared_ptr<Connection>& present) {
        return !device ? nullptr
            : present  ? present
                       : std::make_shared<Connection>(context_->configuration.hook, device);
    };
    for (const std::shared_ptr<AVCaptureOutput>& output : outputs_) {
        const std::shared_ptr<OutputPlace> place = placeOf(output);
        if (place->takesVideo())
            place->setVideoConnection(connection(place->videoConnection()));
    }
    previewConnection_ = connection(previewConnection_);
}

} // namespace tamsel::engine
