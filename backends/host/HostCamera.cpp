#include <host/HostCamera.h>

#include <host/media/MediaCamera.h>
#include <host/pattern/PatternCamera.h>
#include <host/pipewire/PipeWireCamera.h>
#include <host/pipewire/pipeWireInputs.h>
#include <host/v4l2/V4L2Camera.h>

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

namespace tamsel::host {

namespace {

constexpr std::string_view patternPrefix = "test:";
constexpr std::string_view nodePrefix = "/dev/video";
constexpr unsigned videoMajor = 81; // Linux allocated devices: video capture

} // namespace

bool isVideoNode(const std::string& input)
{
    struct stat status{};
    return input == automaticNode || input.starts_with(nodePrefix)
        || (::stat(input.c_str(), &status) == 0 && S_ISCHR(status.st_mode)
            && major(status.st_rdev) == videoMajor);
}

std::expected<HostCamera, platform::Error> makeHostCamera(
    const HostInput& input, platform::AVCaptureDevicePosition position, DriverServices services)
{
    if (input.makeDriver) {
        std::shared_ptr<engine::CameraDriver> driver = input.makeDriver(services.events);
        if (!driver)
            return std::unexpected(
                platform::Error{.localizedDescription = "the program made no camera driver"});
        return HostCamera{
            driver, [driver] { return driver->isPresent() ? InputAccess::readable : InputAccess::absent; }};
    }
    if (input.input.starts_with(patternPrefix)) {
        const auto format = PatternFormat::parse(std::string_view(input.input).substr(patternPrefix.size()));
        if (!format)
            return std::unexpected(format.error());
        return HostCamera{std::make_shared<PatternCamera>(input, *format, position, services),
            [] { return InputAccess::readable; }};
    }
    if (isVideoNode(input.input)) {
        const auto camera = std::make_shared<V4L2Camera>(input.input, describeInput(input, position),
            services.events, services.systemCalls,
            position == platform::AVCaptureDevicePosition::back ? LedTorch::find() : std::nullopt,
            services.report);
        return HostCamera{
            .driver = camera, .access = [camera] { return camera->access(); }, .folder = "/dev"};
    }
    if (input.input.starts_with(pipeWirePrefix)) {
#ifdef TAMSEL_PIPEWIRE
        const auto camera = std::make_shared<PipeWireCamera>(input, position, services);
        return HostCamera{.driver = camera,
            .access = [camera] { return camera->access(); },
            .folder = std::filesystem::path(pipeWireSocket()).parent_path().string(),
            .abandon = [camera] { camera->abandon(); }};
#else
        return std::unexpected(noPipeWire(input.input));
#endif
    }
    const auto camera = std::make_shared<MediaCamera>(input, position, services);
    const std::filesystem::path folder = std::filesystem::path(input.input).parent_path();
    return HostCamera{.driver = camera,
        .access = [camera] { return camera->access(); },
        .clock = camera->clock(),
        .folder
        = MediaInput(input.input).kind == MediaKind::file ? (folder.empty() ? "." : folder.string()) : "",
        .abandon = [camera] { camera->abandon(); }};
}

} // namespace tamsel::host
