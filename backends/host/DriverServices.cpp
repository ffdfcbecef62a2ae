#include <host/DriverServices.h>

#include <host/DigitalZoom.h>

namespace tamsel::host {

engine::CameraDescription describeInput(const HostInput& input, platform::AVCaptureDevicePosition position)
{
    engine::CameraDescription description;
    description.uniqueID
        = (position == platform::AVCaptureDevicePosition::front ? "front:" : "back:") + input.input;
    description.name = input.input;
    description.position = position;
    description.presentationDimensions = input.presentationDimensions;
    description.videoFieldOfView = input.videoFieldOfView;
    description.minimumFocusDistance = input.minimumFocusDistance;
    description.maxZoomFactor = DigitalZoom::maximumFactor;
    description.sensorOrientation = input.sensorOrientation.value_or(description.sensorOrientation);
    description.intrinsicMatrix = input.intrinsicMatrix;
    return description;
}

} // namespace tamsel::host
