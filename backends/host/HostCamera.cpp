#include <host/HostCamera.h>

#include <host/movie/MovieCamera.h>
#include <host/pattern/PatternCamera.h>

#include <utility>

namespace tamsel::host {

namespace {

constexpr std::string_view patternPrefix = "test:";

} // namespace

engine::CameraDescription describeInput(const HostInput& input, platform::AVCaptureDevicePosition position)
{
    engine::CameraDescription description;
    description.uniqueID = (position == platform::AVCaptureDevicePosition::front ? "front:" : "back:") + input.input;
    description.name = input.input;
    description.position = position;
    description.presentationDimensions = input.presentationDimensions;
    description.videoFieldOfView = input.videoFieldOfView;
    description.minimumFocusDistance = input.minimumFocusDistance;
    description.sensorOrientation = input.sensorOrientation;
    description.intrinsicMatrix = input.intrinsicMatrix;
    return description;
}

std::expected<HostCamera, platform::Error> makeHostCamera(const HostInput& input, platform::AVCaptureDevicePosition position,
                                                          DriverServices services)
{
    if (input.input.starts_with(patternPrefix)) {
        const auto format = PatternFormat::parse(std::string_view(input.input).substr(patternPrefix.size()));
        if (!format)
            return std::unexpected(format.error());
        return HostCamera{std::make_shared<PatternCamera>(input, *format, position, services),
                          [] { return InputAccess::readable; }};
    }
    const auto camera = std::make_shared<MovieCamera>(input, position, services);
    return HostCamera{camera, [camera] { return camera->access(); }};
}

} // namespace tamsel::host
