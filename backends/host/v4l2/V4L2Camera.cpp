#include <host/v4l2/V4L2Camera.h>

#include <host/v4l2/V4L2Device.h>
#include <host/v4l2/V4L2Format.h>
#include <host/v4l2/V4L2Nodes.h>
#include <host/v4l2/V4L2Stream.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace tamsel::host {

V4L2Camera::V4L2Camera(std::string path, engine::CameraDescription seed, engine::EventSources& sources,
    V4L2Calls calls, std::optional<LedTorch> torch, std::function<void(std::string_view)> report)
    : path_(std::move(path)),
      sources_(sources),
      calls_(std::make_shared<const V4L2Calls>(std::move(calls))),
      torch_(std::move(torch)),
      report_(std::move(report)),
      maximumDigitalZoom_(seed.maxZoomFactor),
      description_(std::move(seed))
{
    describeControls();
}

V4L2Camera::~V4L2Camera()
{
    V4L2Camera::close();
}

engine::CameraDescription V4L2Camera::description() const
{
    const MutexLock lock(descriptionGuard_);
    return description_;
}

InputAccess V4L2Camera::access() const
{
    if (path_ != automaticNode)
        return inputAccess(path_, R_OK | W_OK, *calls_);
    InputAccess best = InputAccess::absent;
    for (const std::string& node : calls_->nodes())
        best = std::max(best, inputAccess(node, R_OK | W_OK, *calls_));
    return best;
}

std::expected<void, platform::Error> V4L2Camera::open()
{
    if (isOpen_ && device_)
        return {};
    auto taken = takeDevice();
    isOpen_ = taken.has_value();
    return taken;
}

std::expected<void, platform::Error> V4L2Camera::takeDevice()
{
    std::string path = path_;
    if (path == automaticNode) {
        const std::vector<std::string> nodes = captureNodes(*calls_);
        if (nodes.empty())
            return std::unexpected(v4l2Error(path_, "finds no camera", ENODEV));
        path = nodes.front();
    }
    auto device = V4L2Device::open(path, calls_);
    if (!device)
        return std::unexpected(std::move(device.error()));
    // A node may be opened many times; buffers reserve the device.
    if (const int count = (*device)->requestBuffers(1); count < 1)
        return std::unexpected((*device)->error("cannot be taken", count < 0 ? -count : ENOMEM));
    device_ = std::move(*device);
    controls_ = V4L2Controls(*device_, report_);
    describeControls();
    const MutexLock lock(descriptionGuard_);
    if (description_.name.empty())
        description_.name = device_->card();
    return {};
}

void V4L2Camera::close()
{
    stop();
    // Memory in use by a conversion stays mapped and keeps the kernel's file, but no longer holds the device.
    if (device_)
        (void)device_->requestBuffers(0);
    device_.reset();
    isOpen_ = false;
}

std::expected<void, platform::Error> V4L2Camera::start(
    platform::AVCaptureSessionPreset preset, std::shared_ptr<engine::FrameSink> sink)
{
    if (!isOpen_)
        return std::unexpected(v4l2Error(path_, "is not open", EBADF));
    stop();
    // The format cannot change while there are buffers. A device that has disappeared fails here.
    if (device_ && device_->requestBuffers(0) < 0)
        device_.reset();
    if (!device_) {
        if (auto taken = takeDevice(); !taken)
            return taken;
        (void)device_->requestBuffers(0);
    }
    auto started = startStream(preset, std::move(sink));
    if (!started) {
        // Restores the reservation; the next start reopens a device that has disappeared.
        (void)device_->requestBuffers(0);
        if (device_->requestBuffers(1) < 1)
            device_.reset();
    }
    return started;
}

std::expected<void, platform::Error> V4L2Camera::startStream(
    platform::AVCaptureSessionPreset preset, std::shared_ptr<engine::FrameSink> sink)
{
    const auto format = setFormat(*device_, preset);
    if (!format)
        return std::unexpected(format.error());
    controls_.focusAutomatically(*device_);
    applyZoom();
    auto stream = V4L2Stream::start(device_, *format, sources_, std::move(sink), zoom_);
    if (!stream)
        return std::unexpected(std::move(stream.error()));
    stream_ = std::move(*stream);
    const MutexLock lock(descriptionGuard_);
    description_.presentationDimensions
        = platform::CGSize{static_cast<double>(format->width), static_cast<double>(format->height)};
    return {};
}

void V4L2Camera::setZoomFactor(double factor)
{
    zoomFactor_ = factor;
    if (stream_)
        applyZoom();
}

void V4L2Camera::applyZoom()
{
    zoom_->set(zoomFactor_, controls_.setLensFactor(*device_, zoomFactor_));
    describeControls();
}

void V4L2Camera::describeControls()
{
    const MutexLock lock(descriptionGuard_);
    description_.maxZoomFactor = maximumDigitalZoom_ * controls_.maximumLensFactor();
    description_.hasTorch = controls_.hasTorch() || torch_;
}

void V4L2Camera::setTorchMode(platform::AVCaptureTorchMode mode)
{
    const bool isOn = mode == platform::AVCaptureTorchMode::on;
    if (std::exchange(isTorchOn_, isOn) == isOn)
        return;
    if (device_ && controls_.hasTorch()) {
        controls_.setTorch(*device_, isOn);
        describeControls();
    } else if (torch_) {
        torch_->set(isOn);
    }
}

void V4L2Camera::stop()
{
    setTorchMode(platform::AVCaptureTorchMode::off);
    if (!stream_)
        return;
    stream_->stop();
    const bool isLost = stream_->isLost();
    stream_.reset();
    if (isLost)
        device_.reset();
}

} // namespace tamsel::host
