#include <host/Host.h>

#include <host/HostCamera.h>
#include <host/ReaderThreads.h>
#include <host/asset/HostAssets.h>
#include <host/image/HostImages.h>
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
#include <engine/dispatch/callback.h>
#include <engine/dispatch/monotonicNow.h>
#include <engine/motion/LogMotion.h>
#include <engine/motion/Motion.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/Diagnostics.h>
#include <tamsel/platform/NotificationCenter.h>
#include <tamsel/platform/core/Reports.h>
#include <tamsel/platform/core/Tamsel.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <deque>
#include <optional>
#include <utility>

namespace tamsel::host {

using namespace platform;

namespace {

class SystemClock final : public Clock {
public:
    [[nodiscard]] double timeIntervalSince1970() const override
    {
        return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    }
    [[nodiscard]] std::chrono::nanoseconds monotonic() const override { return engine::monotonicNow(); }
};

class ConfiguredDevice final : public UIDevice {
public:
    explicit ConfiguredDevice(const HostConfiguration& configuration)
        : systemVersion_(configuration.systemVersion),
          model_(configuration.model)
    {
    }

    [[nodiscard]] UIDeviceOrientation orientation() const override { return orientation_; }
    void setOrientation(UIDeviceOrientation orientation) { orientation_ = orientation; }
    [[nodiscard]] std::string systemVersion() const override { return systemVersion_; }
    [[nodiscard]] std::string model() const override { return model_; }

private:
    const std::string systemVersion_;
    const std::string model_;
    std::atomic<UIDeviceOrientation> orientation_ = UIDeviceOrientation::portrait;
};

/// Whole lines to a stream of the process, or to whoever the program names.
class LineWriter final : public DiagnosticLines {
public:
    LineWriter(std::function<void(std::string_view)> write, std::FILE* stream)
        : write_(std::move(write)),
          stream_(stream)
    {
    }

    /// A line that comes while another is written, be it from in there, is written after it, by whoever writes.
    void writeLine(std::string_view line) override
    {
        MutexLock lock(guard_);
        waiting_.emplace_back(line);
        if (std::exchange(isWriting_, true))
            return;
        while (!waiting_.empty()) {
            const std::string next = std::move(waiting_.front());
            waiting_.pop_front();
            lock.unlock();
            write(next);
            lock.lock();
        }
        isWriting_ = false;
    }

private:
    void write(const std::string& line) const
    {
        if (write_) {
            engine::callOut(write_, line);
            return;
        }
        const std::string text = line + "\n";
        std::fwrite(text.data(), 1, text.size(), stream_);
        std::fflush(stream_);
    }

    Mutex guard_;
    std::deque<std::string> waiting_;
    bool isWriting_ = false;
    const std::function<void(std::string_view)> write_;
    std::FILE* const stream_;
};

/// The last of many lines. Thread-safe.
class LastLine {
public:
    void set(std::string line)
    {
        const MutexLock lock(guard_);
        line_.swap(line);
    }
    [[nodiscard]] std::string get() const
    {
        const MutexLock lock(guard_);
        return line_;
    }

private:
    mutable Mutex guard_;
    std::string line_;
};

class ReportWriter final : public ReportSink {
public:
    explicit ReportWriter(std::function<void(std::string_view)> write) : lines_(std::move(write), stderr) { }
    void report(const TamselError& error) override { lines_.writeLine(describe(error)); }

private:
    LineWriter lines_;
};

/// How far the local time is ahead of UTC at that moment.
int secondsFromUTC(double secondsSince1970)
{
    const auto moment = static_cast<std::time_t>(secondsSince1970);
    std::tm local{};
    return ::localtime_r(&moment, &local) ? static_cast<int>(local.tm_gmtoff) : 0;
}

AVAuthorizationStatus authorizationFrom(const std::vector<HostCamera>& cameras)
{
    bool isDenied = false;
    for (const HostCamera& camera : cameras) {
        const InputAccess access = camera.access();
        if (access == InputAccess::readable)
            return AVAuthorizationStatus::authorized;
        isDenied = isDenied || access == InputAccess::unreadable;
    }
    // Without any camera there is nothing that could be denied.
    return isDenied ? AVAuthorizationStatus::denied : AVAuthorizationStatus::authorized;
}

} // namespace

struct Host::Parts {
    explicit Parts(HostConfiguration given)
        : configuration(std::move(given)),
          videoAuthorization(configuration.videoAuthorization),
          audioAuthorization(configuration.audioAuthorization),
          device(configuration),
          lines(configuration.writeLine, stdout),
          reports(configuration.writeReport),
          application(dispatch->mainQueue(), center)
    {
        location.emplace(configuration.location, clock);
        add(configuration.backCamera, AVCaptureDevicePosition::back);
        add(configuration.frontCamera, AVCaptureDevicePosition::front);
        motion.emplace(*dispatch, clock,
            configuration.motionLog ? std::make_shared<engine::LogMotion>(configuration.motionLog) : nullptr);
        std::vector<std::shared_ptr<engine::CameraDriver>> drivers;
        drivers.reserve(cameras.size());
        for (const HostCamera& camera : cameras)
            drivers.push_back(camera.driver);
        capture.emplace(engine::CaptureConfiguration{
            .dispatch = *dispatch,
            .application = application,
            .photos = {.events = *dispatch,
                .clock = clock,
                .device = device,
                .sounds = sounds,
                .encoder = images,
                .secondsFromUTC = secondsFromUTC},
            .movies = {.dispatch = *dispatch,
                .events = *dispatch,
                .clock = clock,
                .writers = movies,
                .tell = [this](const Error& error) { recordingProblem.set(error.localizedDescription); }},
            .cameras = std::move(drivers),
            .authorization = [this](AVMediaType type) { return authorization(type); },
            .microphone = makeMicrophone(),
            .metadata = {.detector = std::make_shared<HostDetector>(HostDetector::Effort::live),
                .queue = [this] { return detectionQueue(); },
                .tell = [this](const Error& error) { lines.writeLine(error.localizedDescription); }},
            .bufferCount = configuration.bufferCount,
        });
        platform.emplace(Platform{*dispatch, *dispatch, clock, *capture, *motion, assets, images, *location,
            sounds, device, application, center, tamsel, reports, lines});
    }

    ~Parts()
    {
        for (const HostCamera& camera : cameras) {
            if (camera.abandon)
                camera.abandon(); // a worker may wait for an input that is being opened
        }
        detection.end(); // hands over to queues, which ask for it until they are gone
        dispatch.reset(); // from here on nobody else calls the drivers
        for (const HostCamera& camera : cameras)
            camera.driver->stop();
    }

    void add(const std::optional<HostInput>& input, AVCaptureDevicePosition position)
    {
        if (!input)
            return;
        auto camera
            = makeHostCamera(*input, position, {*dispatch, *dispatch, readers, configuration.systemCalls});
        if (camera)
            cameras.push_back(std::move(*camera));
        else
            lines.writeLine(camera.error().localizedDescription);
    }

    /// Absent, and told, when the input names nothing that could ever be opened.
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

    /// On a thread of its own, or beside everything else when the system has none left.
    [[nodiscard]] std::shared_ptr<DispatchQueue> detectionQueue()
    {
        std::shared_ptr<DispatchQueue> queue = detection.queue();
        return queue ? queue : dispatch->makeSerialQueue("detection");
    }

    [[nodiscard]] AVAuthorizationStatus authorization(AVMediaType type) const
    {
        if (type == AVMediaType::audio)
            return audioAuthorization;
        const std::optional<AVAuthorizationStatus> policy = videoAuthorization;
        return policy ? *policy : authorizationFrom(cameras);
    }

    const HostConfiguration configuration;
    std::atomic<std::optional<AVAuthorizationStatus>> videoAuthorization;
    std::atomic<AVAuthorizationStatus> audioAuthorization;
    SystemClock clock;
    NotificationCenter center;
    ConfiguredDevice device;
    LineWriter lines;
    ReportWriter reports;
    std::unique_ptr<engine::ThreadedDispatch> dispatch = std::make_unique<engine::ThreadedDispatch>();
    DetectionThread detection;
    engine::ApplicationState application;
    ReaderThreads readers;
    HostAssets assets;
    HostImages images;
    std::optional<HostLocation> location;
    engine::SystemSounds sounds{std::make_shared<ShutterSound>()};
    Tamsel tamsel;
    std::vector<HostCamera> cameras;
    HostMovieWriters movies{configuration.videoEncoders};
    LastLine recordingProblem;
    std::optional<engine::Capture> capture;
    std::optional<engine::Motion> motion;
    std::optional<Platform> platform;
};

Host::Host(HostConfiguration configuration) : parts_(std::make_unique<Parts>(std::move(configuration))) { }

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

std::vector<std::string> Host::videoNodes()
{
    return captureNodes();
}

Platform& Host::platform()
{
    return *parts_->platform;
}

std::shared_ptr<DispatchQueue> Host::makeQueue(std::string label)
{
    return parts_->dispatch->makeSerialQueue(std::move(label));
}

void Host::run()
{
    parts_->dispatch->mainLoop().run();
}

bool Host::runOnce(std::chrono::nanoseconds limit)
{
    return parts_->dispatch->mainLoop().runOnce(limit);
}

void Host::stop()
{
    parts_->dispatch->mainLoop().stop();
}

int Host::descriptor() const
{
    return parts_->dispatch->mainLoop().descriptor();
}

void Host::setAuthorization(AVMediaType mediaType, std::optional<AVAuthorizationStatus> status)
{
    if (mediaType == AVMediaType::video)
        parts_->videoAuthorization = status;
    else
        parts_->audioAuthorization = status.value_or(AVAuthorizationStatus::authorized);
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
    return parts_->dispatch->problem();
}

std::string Host::locationProblem() const
{
    return parts_->location->problem();
}

bool Host::isLocationAwaited() const
{
    return parts_->location->isAwaited();
}

std::string Host::recordingProblem() const
{
    return parts_->recordingProblem.get();
}

std::vector<std::shared_ptr<AVCaptureDevice>> Host::cameras() const
{
    return parts_->capture->cameras();
}

} // namespace tamsel::host
