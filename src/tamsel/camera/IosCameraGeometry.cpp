#include <tamsel/camera/IosCamera.h>

#include <tamsel/camera/videoOrientation.h>
#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/UIDevice.h>

#include <algorithm>
#include <bit>
#include <cmath>

namespace tamsel {

using namespace platform;

namespace {

// The largest single-precision value below π; the nearest one is above it.
constexpr float formulaPi = std::bit_cast<float>(0x40490FDAU);

} // namespace

void IosCamera::adjustZoomForMinimumFocus()
{
    if (!minimumFocusObjectSize_ || !isSystemVersionAtLeast(platform_.device, 16, 0) || !captureDeviceInput_)
        return;
    AVCaptureDevice& device = *captureDeviceInput_->device();
    if (device.minimumFocusDistance() == -1)
        return;
    const auto minimumDistance = static_cast<float>(device.minimumFocusDistance());
    const float fieldOfView = device.activeFormat().videoFieldOfView;
    const float distance
        = static_cast<float>(*minimumFocusObjectSize_) / std::tan(fieldOfView * formulaPi / 180.0F);
    // Written so that an unordered comparison (NaN) ends here, too.
    if (!(distance < minimumDistance))
        return;
    if (const auto locked = device.lockForConfiguration(); !locked) {
        platform_.diagnostics.writeLine(
            "Could not lock for configuration: " + locked.error().localizedDescription);
        return;
    }
    // Distances of zero or below (no size, more than 90 degrees) give factors beyond any device: clamp to its range.
    const double factor = static_cast<double>(minimumDistance / distance);
    device.setVideoZoomFactor(
        std::clamp(factor, device.minAvailableVideoZoomFactor(), device.maxAvailableVideoZoomFactor()));
    device.unlockForConfiguration();
}

void IosCamera::configureVideoConnections(UIInterfaceOrientation orientation)
{
    for (const std::shared_ptr<AVCaptureOutput>& output : captureSession_->outputs()) {
        const std::shared_ptr<AVCaptureConnection> connection = output->connection(AVMediaType::video);
        if (!connection)
            continue;
        connection->setEnabled(true);
        connection->setAutomaticallyAdjustsVideoMirroring(false);
        connection->setVideoOrientation(videoOrientation(orientation));
    }
}

void IosCamera::handleStatusBarOrientationChanged()
{
    if (!platform_.dispatch.isMainThread()) {
        platform_.dispatch.mainQueue()->async(
            whileAlive(weak_from_this(), [](IosCamera& self) { self.handleStatusBarOrientationChanged(); }));
        return;
    }
    const AVCaptureVideoOrientation orientation
        = videoOrientation(platform_.application.statusBarOrientation());
    for (const std::shared_ptr<AVCaptureOutput>& output : captureSession_->outputs()) {
        if (const std::shared_ptr<AVCaptureConnection> connection = output->connection(AVMediaType::video))
            connection->setVideoOrientation(orientation);
    }
}

} // namespace tamsel
