#include <host/Host.h>

#include <host/CameraWatch.h>
#include <host/HostCamera.h>
#include <host/HostServices.h>
#include <host/ReaderThreads.h>
#include <host/VideoAuthorization.h>
#include <host/asset/HostAssets.h>
#include <host/bus/followSystem.h>
#include <host/iio/IioMotion.h>
#include <host/image/HostImages.h>
#include <host/isSandboxed.h>
#include <host/location/HostLocation.h>
#include <host/metadata/DetectionThread.h>
#include <host/metadata/HostDetector.h>
#include <host/microphone/HostMicrophone.h>
#include <host/sound/ShutterSound.h>
#include <host/v4l2/V4L2Nodes.h>

#include <engine/capture/ApplicationState.h>
#include <engine/capture/Capture.h>
#include <engine/dispatch/ThreadRunLoop.h>
#include <engine/dispatch/ThreadedDispatch.h>
#include <engine/motion/LogMotion.h>
#include <engine/motion/Motion.h>
#include <engine/record/RecordedPlatform.h>
#include <engine/record/currentPlace.h>

#include <tamsel/platform/NotificationCenter.h>
#include <tamsel/platform/core/Tamsel.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <utility>

namespace tamsel::host {

using namespace platform;

/// Each member refers only to members above it.
struct Host::Parts {
    explicit Parts(HostConfiguration given) : configuration(std::move(given)) { }

    ~Parts()
    {
        for (const HostCamera& camera : cameras) {
            if (camera.abandon)
                camera.abandon(); // a worker may be opening an input
        }
        video.abandon();
        detection.end();
        dispatch.end(); // nothing runs after this
        for (const HostCamera& camera : cameras)
            camera.driver->stop();
        if (configuration.recorder)
            configuration.recorder->end();
    }

    [[nodiscard]] std::vector<HostCamera> makeCameras()
    {
        std::vector<HostCamera> made;
        const auto add = [&](const std::optional<HostInput>& input, AVCaptureDevicePosition position) {
            if (!input)
                return;
            DriverServices services{dispatch, dispatch, readers, systemCalls};
            // Later, because the driver's device is locked now.
            services.report = [this](std::string_view line) {
                dispatch.globalQueue()->async([this, text = std::string(line)] { lines.writeLine(text); });
            };
            // In a sandbox the daemon itself is out of reach; elsewhere the permission is enough.
            if (isSandboxed() || configuration.permission == PermissionSource::person)
                services.pipeWireDescriptor = video.pipeWireDescriptor();
            auto camera = makeHostCamera(*input, position, services);
            if (camera)
                made.push_back(std::move(*camera));
            else
                lines.writeLine(camera.error().localizedDescription);
        };
        add(configuration.backCamera, AVCaptureDevicePosition::back);
        add(configuration.frontCamera, AVCaptureDevicePosition::front);
        return made;
    }

    /// Absent, with a diagnostic line, when the input can never be opened.
    [[nodiscard]] std::shared_ptr<engine::MicrophoneDriver> makeMicrophone()
    {
        if (!configuration.microphone)
            return nullptr;
        MicrophoneServices services{.readers = readers};
        for (const HostCamera& camera : cameras) {
            if (camera.driver->description().name == *configuration.microphone)
                services.camera = camera.clock;
        }
        auto microphone = makeHostMicrophone(*configuration.microphone, services);
        if (microphone)
            return std::move(*microphone);
        lines.writeLine(microphone.error().localizedDescription);
        return nullptr;
    }

    [[nodiscard]] std::shared_ptr<engine::MotionDriver> makeMotion()
    {
        if (configuration.motionLog)
            return std::make_shared<engine::LogMotion>(configuration.motionLog);
        return std::make_shared<IioMotion>([this](std::string_view line) { lines.writeLine(line); });
    }

    [[nodiscard]] engine::CaptureConfiguration captureConfiguration()
    {
        std::vector<std::shared_ptr<engine::CameraDriver>> drivers;
        for (const HostCamera& camera : cameras)
            drivers.push_back(camera.driver);
        return {
            .dispatch = dispatch,
            .application = application,
            .photos = {.events = dispatch,
                .clock = clock,
                .device = device,
                .sounds = sounds,
                .encoder = recorded.encoder(images),
                .secondsFromUTC = secondsFromUTC},
            .movies = {.dispatch = dispatch,
                .events = dispatch,
                .clock = clock,
                .writers = recorded.writers(movies),
                .report = [this](const Error& error) { recordingProblem.set(error.localizedDescription); }},
            .cameras = std::move(drivers),
            .authorization = [this](AVMediaType type) { return authorization(type); },
            .microphone = makeMicrophone(),
            .metadata = {.detector = std::make_shared<HostDetector>(HostDetector::Effort::live),
                .queue = [this] { return detectionQueue(); },
                .report = [this](const Error& error) { lines.writeLine(error.localizedDescription); }},
            .bufferCount = configuration.bufferCount,
            .activity = activity,
        };
    }

    /// On a thread of its own, or on the workers when the system has no thread left.
    [[nodiscard]] std::shared_ptr<DispatchQueue> detectionQueue()
    {
        std::shared_ptr<DispatchQueue> queue = detection.queue();
        return queue ? queue : dispatch.makeSerialQueue("detection");
    }

    /// Absent in a build without libsystemd.
    [[nodiscard]] std::shared_ptr<void> followEvents()
    {
#ifdef TAMSEL_BUS
        return followSystem(
            configuration.followed, {dispatch, dispatch, application, activity, device, lines});
#else
        return nullptr;
#endif
    }

    [[nodiscard]] AVAuthorizationStatus authorization(AVMediaType type) const
    {
        if (type == AVMediaType::audio)
            return audioAuthorization;
        return video.status(cameras);
    }

    /// What the person permits counts from now on.
    void followPermission()
    {
        video.follow([this] {
            lines.writeLine("the permission to use cameras was withdrawn");
            dispatch.globalQueue()->async([this] {
                capture.loseCameras({.localizedDescription = "the permission to use cameras was withdrawn"});
            });
        });
    }

    void beginRecording()
    {
        if (!configuration.recorder)
            return;
        configuration.recorder->begin({.name = "host", .clock = clock, .dispatch = dispatch, .place = [this] {
                                           return engine::currentPlace(dispatch);
                                       }});
        recorded.notifications(center, application);
    }

    const HostConfiguration configuration;
    std::atomic<AVAuthorizationStatus> audioAuthorization{configuration.audioAuthorization};
    SystemClock clock;
    NotificationCenter center;
    ConfiguredDevice device{configuration};
    LineWriter lines{configuration.writeLine, stdout};
    ReportWriter reports{configuration.writeReport};
    LastLine recordingProblem;
    engine::ThreadedDispatch dispatch;
    DetectionThread detection;
    engine::ApplicationState application{dispatch.mainQueue(), center};
    const std::shared_ptr<engine::CaptureActivity> activity = std::make_shared<engine::CaptureActivity>();
    ReaderThreads readers;
    HostAssets assets;
    HostImages images;
    HostLocation location{configuration.location, clock};
    engine::SystemSounds sounds{std::make_shared<ShutterSound>()};
    Tamsel tamsel;
    HostMovieWriters movies{configuration.videoEncoders};
    VideoAuthorization video{configuration, dispatch, dispatch, lines};
    const V4L2Calls systemCalls = video.permitted(configuration.systemCalls);
    const std::vector<HostCamera> cameras = makeCameras();
    CameraWatch watch{dispatch, dispatch, cameras};
    engine::RecordedPlatform recorded{configuration.recorder};
    engine::Capture capture{recorded.capture(captureConfiguration())};
    engine::Motion motion{dispatch, clock, recorded.motion(makeMotion())};
    Platform platform{dispatch, dispatch, clock, capture, motion, assets, images, location, sounds,
        recorded.device(device), application, center, tamsel, recorded.reports(reports),
        recorded.lines(lines), recorded.client()};
    const std::shared_ptr<void> events = followEvents();
};

Host::Host(HostConfiguration configuration) : parts_(std::make_unique<Parts>(std::move(configuration)))
{
    parts_->beginRecording();
    parts_->followPermission();
}

Host::~Host() = default;

std::expected<CGSize, Error> Host::probe(
    const std::string& input, std::optional<std::chrono::nanoseconds> limit)
{
    engine::ThreadedDispatch dispatch;
    if (std::string problem = dispatch.problem(); !problem.empty())
        return std::unexpected(Error{.localizedDescription = std::move(problem)});
    ReaderThreads readers;
    const V4L2Calls calls = systemV4L2Calls();
    DriverServices services{dispatch, dispatch, readers, calls};
    services.openingLimit = std::min(services.openingLimit, limit.value_or(services.openingLimit));
    auto camera = makeHostCamera({.input = input}, AVCaptureDevicePosition::back, services);
    if (!camera)
        return std::unexpected(std::move(camera.error()));
    if (auto opened = camera->driver->open(); !opened)
        return std::unexpected(std::move(opened.error()));
    camera->driver->close();
    return camera->driver->description().presentationDimensions.value_or(CGSize{});
}

bool Host::hasMotionSensors()
{
    std::vector<std::string> problems;
    const IioSensors sensors = IioSensors::discover({}, problems);
    return sensors.gyroscope || sensors.hasAttitude();
}

std::vector<std::string> Host::videoNodes()
{
    return captureNodes();
}

Platform& Host::platform()
{
    return parts_->platform;
}

std::shared_ptr<DispatchQueue> Host::makeQueue(std::string label)
{
    return parts_->dispatch.makeSerialQueue(std::move(label));
}

void Host::run()
{
    parts_->dispatch.mainLoop().run();
}

bool Host::runOnce(std::chrono::nanoseconds limit)
{
    return parts_->dispatch.mainLoop().runOnce(limit);
}

void Host::stop()
{
    parts_->dispatch.mainLoop().stop();
}

int Host::descriptor() const
{
    return parts_->dispatch.mainLoop().descriptor();
}

void Host::setAuthorization(AVMediaType mediaType, std::optional<AVAuthorizationStatus> status)
{
    if (mediaType == AVMediaType::video)
        parts_->video.setPolicy(status);
    else
        parts_->audioAuthorization = status.value_or(AVAuthorizationStatus::authorized);
}

bool Host::asksForVideoAccess(const HostConfiguration& configuration)
{
    return needsPermission(configuration);
}

void Host::requestVideoAccess(std::function<void(AVAuthorizationStatus)> answered)
{
    parts_->video.request([parts = parts_.get(), answered = std::move(answered)] {
        parts->dispatch.mainQueue()->async(
            [parts, answered] { answered(parts->authorization(AVMediaType::video)); });
    });
}

void Host::setDeviceOrientation(UIDeviceOrientation orientation)
{
    parts_->device.setOrientation(orientation);
}

void Host::setInterfaceOrientation(UIInterfaceOrientation orientation)
{
    parts_->application.setStatusBarOrientation(orientation);
}

void Host::enterBackground()
{
    parts_->application.enterBackground();
}

void Host::enterForeground()
{
    parts_->application.enterForeground();
}

std::string Host::problem() const
{
    return parts_->dispatch.problem();
}

std::string Host::locationProblem() const
{
    return parts_->location.problem();
}

bool Host::isLocationAwaited() const
{
    return parts_->location.isAwaited();
}

std::string Host::recordingProblem() const
{
    return parts_->recordingProblem.get();
}

void Host::setCameraObserver(CameraObserver observer)
{
    parts_->watch.setObserver(std::move(observer));
}

std::vector<std::shared_ptr<AVCaptureDevice>> Host::cameras() const
{
    return parts_->capture.cameras();
}

} // namespace tamsel::host
