#include <simulated/Phone.h>

#include <simulated/FlightScript.h>
#include <simulated/JournaledMotion.h>
#include <simulated/JournaledServices.h>
#include <simulated/Order.h>
#include <simulated/RandomChooser.h>
#include <simulated/Replay.h>
#include <simulated/Scheduler.h>
#include <simulated/ScriptedHook.h>
#include <simulated/journalOfClient.h>

#include <engine/capture/ApplicationState.h>
#include <engine/capture/Capture.h>
#include <engine/record/RecordedPlatform.h>

#include <tamsel/platform/NotificationCenter.h>
#include <tamsel/platform/core/Reports.h>
#include <tamsel/platform/core/Tamsel.h>

#include <array>
#include <stdexcept>
#include <utility>

namespace tamsel::simulated {

using namespace platform;
using engine::CaptureCall;
using std::chrono::nanoseconds;

namespace {

class ScriptedDevice final : public UIDevice {
public:
    ScriptedDevice(std::string systemVersion, std::string model)
        : systemVersion_(std::move(systemVersion)),
          model_(std::move(model))
    {
    }

    [[nodiscard]] UIDeviceOrientation orientation() const override { return current; }
    [[nodiscard]] std::string systemVersion() const override { return systemVersion_; }
    [[nodiscard]] std::string model() const override { return model_; }

    UIDeviceOrientation current = UIDeviceOrientation::portrait;

private:
    const std::string systemVersion_;
    const std::string model_;
};

std::shared_ptr<Chooser> chooserOf(const PhoneConfiguration& given)
{
    if (!given.replay.empty())
        return std::make_shared<ReplayChooser>(Replay::parse(given.replay));
    if (given.recording && !given.chooser)
        return std::make_shared<ScriptChooser>(Script{});
    return given.chooser ? given.chooser : std::make_shared<RandomChooser>(given.seed);
}

/// Absent without a recording, whose devices replace those of the configuration.
std::unique_ptr<FlightScript> flightOf(PhoneConfiguration& given)
{
    if (!given.recording)
        return nullptr;
    auto flight = std::make_unique<FlightScript>(given.recording);
    flight->configure(given);
    return flight;
}

} // namespace

struct Phone::Parts {
    explicit Parts(PhoneConfiguration given)
        : flight(flightOf(given)),
          recorder(given.recorder),
          scheduler(chooserOf(given), given.timeIntervalSince1970),
          assetServices(std::move(given.assets)),
          imageServices(std::move(given.images)),
          photoEncoder(std::move(given.photoEncoder)),
          movieWriters(std::move(given.movieWriters)),
          motion(std::make_shared<SimulatedMotion>(
              std::move(given.motion), std::move(given.motionLog), scheduler)),
          device(std::move(given.systemVersion), std::move(given.model)),
          application(scheduler.mainQueue(), center)
    {
        if (recorder)
            recorder->begin({.name = "simulated", .clock = scheduler, .dispatch = scheduler, .place = [this] {
                                 return std::string_view(scheduler.currentPlace());
                             }});
        motion->setServices(motionServices);
        int number = 0;
        std::vector<std::shared_ptr<engine::CameraDriver>> drivers;
        for (CameraScript& script : given.cameras) {
            cameras.push_back(std::make_shared<SimulatedCamera>(
                std::move(script), "simulated:" + std::to_string(number++), scheduler));
            drivers.push_back(cameras.back());
        }
        if (given.microphone)
            microphone = std::make_shared<SimulatedMicrophone>(std::move(*given.microphone), scheduler);
        detector = std::make_shared<SimulatedDetector>(std::move(given.detector), scheduler);
        if (flight)
            movies.script().answer = flight->movieAnswers();
        engine::PhotoEncoder& encoder = photoEncoder ? *photoEncoder : images;
        capture.emplace(recorded.capture({
            .dispatch = scheduler,
            .application = application,
            .photos = {.events = scheduler,
                .clock = scheduler,
                .device = device,
                .sounds = sounds,
                .encoder = recorded.encoder(flight ? flight->encoder(encoder) : encoder)},
            .movies = {.dispatch = scheduler,
                .events = scheduler,
                .clock = scheduler,
                .writers = recorded.writers(movieWriters ? *movieWriters : movies),
                .report =
                    [this](const Error& error) {
                        recordingProblem = error.localizedDescription;
                        journal.write(scheduler.monotonic(), "recording " + error.localizedDescription);
                    }},
            .cameras = std::move(drivers),
            .authorization
            = [this](AVMediaType type) { return authorizations.at(static_cast<std::size_t>(type)); },
            .microphone = microphone,
            .metadata = {.detector = given.metadataDetector ? std::move(given.metadataDetector) : detector,
                .queue = [this] { return scheduler.makeSerialQueue("detection"); },
                .report =
                    [this](const Error& error) {
                        journal.write(scheduler.monotonic(), "detector " + error.localizedDescription);
                    }},
            .bufferCount = given.bufferCount,
            .hook = hook,
            .makeOperationLock = [this] { return scheduler.makeOperationLock(); },
        }));
        platform.emplace(Platform{scheduler, scheduler, scheduler, *capture, journaledMotion,
            assetServices ? *assetServices : assets, imageServices ? *imageServices : images, location,
            sounds, recorded.device(device), application, center, tamsel, recorded.reports(reports),
            recorded.lines(lines), recorded.client()});
        recorded.notifications(center, application);
    }

    ~Parts()
    {
        scheduler.end();
        hook->end();
        if (recorder)
            recorder->end();
    }

    void refuseInside(const char* operation) const
    {
        if (scheduler.isInside())
            throw std::logic_error(std::string("Phone::") + operation
                + " in a callback, which the phone itself runs; Phone::spend makes a callback take time");
    }

    const std::unique_ptr<FlightScript> flight; ///< absent without a recording
    const std::shared_ptr<engine::FlightRecorder> recorder;
    engine::RecordedPlatform recorded{recorder};
    Journal journal{[this] { return scheduler.currentPlace(); }};
    Journal settings;
    std::string recordingProblem;
    NotificationCenter center;
    std::array<AVAuthorizationStatus, 2> authorizations{
        AVAuthorizationStatus::authorized, AVAuthorizationStatus::authorized};
    Scheduler scheduler;
    std::vector<std::shared_ptr<SimulatedCamera>> cameras;
    const std::shared_ptr<AssetServices> assetServices; ///< absent: the simulated ones
    const std::shared_ptr<ImageServices> imageServices;
    const std::shared_ptr<engine::PhotoEncoder> photoEncoder;
    const std::shared_ptr<engine::MovieWriters> movieWriters;
    std::shared_ptr<SimulatedMicrophone> microphone;
    std::shared_ptr<SimulatedDetector> detector;
    const std::shared_ptr<SimulatedMotion> motion;
    engine::Motion motionServices{scheduler, scheduler, recorded.motion(motion)};
    JournaledMotion journaledMotion{motionServices, scheduler, journal};
    SimulatedAssets assets;
    SimulatedMovies movies{scheduler, assets};
    SimulatedImages images;
    SimulatedLocation location;
    std::shared_ptr<ScriptedHook> hook = std::make_shared<ScriptedHook>(scheduler, journal, settings);
    engine::SystemSounds sounds{std::make_shared<JournaledSounds>(scheduler, journal)};
    Tamsel tamsel;
    const std::shared_ptr<CallbackDelegate> journalOfClient = simulated::journalOfClient(scheduler, journal);
    JournaledLines lines{scheduler, journal};
    JournaledReports reports{scheduler, journal};
    ScriptedDevice device;
    engine::ApplicationState application;
    std::optional<engine::Capture> capture;
    std::optional<Platform> platform;
};

Phone::Phone(PhoneConfiguration configuration) : parts_(std::make_unique<Parts>(std::move(configuration)))
{
    if (parts_->flight)
        parts_->flight->plan(*this, parts_->scheduler);
}

Phone::~Phone() = default;

Platform& Phone::platform()
{
    return *parts_->platform;
}

std::shared_ptr<DispatchQueue> Phone::makeQueue(std::string label)
{
    return parts_->scheduler.makeSerialQueue(std::move(label));
}

void Phone::run()
{
    advance({});
}

void Phone::advance(nanoseconds duration)
{
    parts_->refuseInside("advance");
    parts_->scheduler.runUntil(parts_->scheduler.monotonic() + duration);
}

bool Phone::runUntil(const std::function<bool()>& condition, nanoseconds limit)
{
    parts_->refuseInside("runUntil");
    return parts_->scheduler.runUntil(parts_->scheduler.monotonic() + limit, condition);
}

void Phone::spend(nanoseconds duration)
{
    parts_->scheduler.spend(duration);
}

void Phone::at(nanoseconds time, std::string name, std::function<void()> action)
{
    parts_->scheduler.actAt(time, std::move(name), std::move(action));
}

nanoseconds Phone::now() const
{
    return parts_->scheduler.monotonic();
}

bool Phone::isIdle() const
{
    return parts_->scheduler.isIdle();
}

void Phone::asThread(const std::string& name, const std::function<void()>& body)
{
    parts_->scheduler.asThread(name, body);
}

SimulatedCamera& Phone::camera(AVCaptureDevicePosition position, std::size_t number)
{
    for (const std::shared_ptr<SimulatedCamera>& camera : parts_->cameras) {
        if (camera->script().position == position && number-- == 0)
            return *camera;
    }
    throw std::out_of_range("the simulated phone has no such camera");
}

SimulatedMicrophone& Phone::microphone()
{
    if (!parts_->microphone)
        throw std::out_of_range("the simulated phone has no microphone");
    return *parts_->microphone;
}

SimulatedMovies& Phone::movies()
{
    return parts_->movies;
}

const std::string& Phone::recordingProblem() const
{
    return parts_->recordingProblem;
}

SimulatedDetector& Phone::detector()
{
    return *parts_->detector;
}

SimulatedMotion& Phone::motion()
{
    return *parts_->motion;
}

SimulatedAssets& Phone::assets()
{
    return parts_->assets;
}

SimulatedImages& Phone::images()
{
    return parts_->images;
}

SimulatedLocation& Phone::location()
{
    return parts_->location;
}

const Journal& Phone::settings() const
{
    return parts_->settings;
}

const std::vector<TamselError>& Phone::reports() const
{
    return parts_->reports.errors();
}

void Phone::setAuthorization(AVMediaType mediaType, AVAuthorizationStatus status)
{
    parts_->authorizations.at(static_cast<std::size_t>(mediaType)) = status;
}

void Phone::setDeviceOrientation(UIDeviceOrientation orientation)
{
    parts_->device.current = orientation;
}

void Phone::setInterfaceOrientation(UIInterfaceOrientation orientation)
{
    parts_->application.setStatusBarOrientation(orientation);
}

void Phone::enterBackground()
{
    parts_->application.enterBackground();
}

void Phone::enterForeground()
{
    parts_->application.enterForeground();
}

void Phone::refuse(CaptureCall call, int number, std::string detail)
{
    parts_->hook->refuse(call, number, std::move(detail));
}

void Phone::delay(CaptureCall call, nanoseconds duration)
{
    parts_->hook->delay(call, duration);
}

Journal& Phone::journal()
{
    return parts_->journal;
}

const std::shared_ptr<CallbackDelegate>& Phone::journalOfClient()
{
    return parts_->journalOfClient;
}

} // namespace tamsel::simulated
