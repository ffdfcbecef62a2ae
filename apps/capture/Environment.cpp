#include "Environment.h"

#include "Files.h"
#include "Waiter.h"
#include "cameraInputs.h"
#include "endingSignals.h"
#include "options/Unusable.h"
#include "report/Console.h"
#include "report/Utf8.h"
#include "seconds.h"
#include "timeLimits.h"

#include <host/Host.h>
#include <host/asset/HostAssets.h>
#include <host/image/HostImages.h>
#include <host/isSandboxed.h>
#include <host/microphone/HostMicrophone.h>
#include <host/recording/HostMovieWriter.h>
#include <simulated/Phone.h>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <tamsel/platform/CaptureServices.h>

#include <array>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <numbers>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using platform::AVCaptureDevice;
using platform::AVCaptureDevicePosition;

namespace {

constexpr auto simulatedFrameInterval = std::chrono::nanoseconds(1'000'000'000 / 30);
constexpr auto simulatedSlice = 100ms;

sigset_t takenSignals(bool isRecorded)
{
    sigset_t signals = endingSignals();
    sigaddset(&signals, SIGUSR1);
    sigaddset(&signals, SIGUSR2);
    if (isRecorded)
        sigaddset(&signals, SIGQUIT);
    return signals;
}

/// Reads the signals from a descriptor, so that they are handled between two items of the main loop. Create it before threads
/// start, which must block the signals too; until then signals end the program, also while an input opens.
class Signals {
public:
    explicit Signals(std::function<void()> writeRecording)
        : writeRecording_(std::move(writeRecording)),
          set_(takenSignals(writeRecording_ != nullptr)),
          descriptor_(signalfd(-1, &set_, SFD_NONBLOCK | SFD_CLOEXEC))
    {
        if (descriptor_ >= 0) // otherwise they still end the program
            pthread_sigmask(SIG_BLOCK, &set_, nullptr);
    }
    ~Signals() { ::close(descriptor_); }
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    [[nodiscard]] int descriptor() const { return descriptor_; }

    template <typename Target> void handle(Target& target, const std::function<void()>& onInterrupt) const
    {
        signalfd_siginfo info{};
        while (::read(descriptor_, &info, sizeof info) == sizeof info) {
            if (info.ssi_signo == SIGUSR1)
                target.enterBackground();
            else if (info.ssi_signo == SIGUSR2)
                target.enterForeground();
            else if (info.ssi_signo == SIGQUIT)
                writeRecording_();
            else {
                interruptWrites();
                onInterrupt();
            }
        }
    }

private:
    const std::function<void()> writeRecording_;
    sigset_t set_;
    int descriptor_;
};

void writeToStandardError(std::string_view line)
{
    std::fprintf(stderr, "%s\n", printable(line).c_str());
}

/// Debug output, which is quoted, is not for the user.
void writeUnlessDebugOutput(std::string_view line)
{
    if (!line.starts_with('"'))
        writeToStandardError(line);
}

class HostEnvironment final : public Environment {
public:
    HostEnvironment(host::HostConfiguration configuration, std::function<void()> writeRecording)
        : signals_(std::move(writeRecording)),
          host_(std::move(configuration))
    {
    }
    ~HostEnvironment() override { interruptWrites(); } // a worker may be waiting in one
    HostEnvironment(const HostEnvironment&) = delete;
    HostEnvironment& operator=(const HostEnvironment&) = delete;

    [[nodiscard]] host::Host& host() { return host_; }
    [[nodiscard]] platform::Platform& platform() override { return host_.platform(); }
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> makeQueue(std::string label) override
    {
        return host_.makeQueue(std::move(label));
    }
    [[nodiscard]] std::vector<std::shared_ptr<AVCaptureDevice>> cameras() override { return host_.cameras(); }
    void observeCameras(host::CameraObserver observer) override
    {
        host_.setCameraObserver(std::move(observer));
    }
    [[nodiscard]] std::string locationProblem() override { return host_.locationProblem(); }
    [[nodiscard]] bool isLocationAwaited() override { return host_.isLocationAwaited(); }
    [[nodiscard]] std::string recordingProblem() override { return host_.recordingProblem(); }

    void runUntil(const std::function<bool()>& condition, const std::function<void()>& onInterrupt) override
    {
        while (!condition()) {
            std::array<pollfd, 2> entries{{{.fd = host_.descriptor(), .events = POLLIN, .revents = 0},
                {.fd = signals_.descriptor(), .events = POLLIN, .revents = 0}}};
            ::poll(entries.data(), entries.size(), -1);
            signals_.handle(host_, onInterrupt);
            host_.runOnce(0ns);
        }
    }

private:
    Signals signals_;
    host::Host host_;
};

class SimulatedEnvironment final : public Environment {
public:
    SimulatedEnvironment(simulated::PhoneConfiguration configuration, std::function<void()> writeRecording)
        : signals_(std::move(writeRecording)),
          phone_(std::move(configuration))
    {
    }

    [[nodiscard]] simulated::Phone& phone() { return phone_; }
    void place(const host::HostLocationSource& source)
    {
        std::optional<platform::CLLocation> location = source.fixed;
        if (location)
            location->timestamp = phone_.platform().clock.timeIntervalSince1970();
        phone_.location().setLocation(location);
        phone_.location().setHeading(source.heading);
    }
    [[nodiscard]] platform::Platform& platform() override { return phone_.platform(); }
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> makeQueue(std::string label) override
    {
        return phone_.makeQueue(std::move(label));
    }
    [[nodiscard]] std::vector<std::shared_ptr<AVCaptureDevice>> cameras() override
    {
        std::vector<std::shared_ptr<AVCaptureDevice>> found;
        for (const auto position : {AVCaptureDevicePosition::back, AVCaptureDevicePosition::front}) {
            if (auto camera = phone_.platform().capture.defaultDevice(
                    platform::AVCaptureDeviceType::builtInWideAngleCamera, platform::AVMediaType::video,
                    position))
                found.push_back(std::move(camera));
        }
        return found;
    }
    void observeCameras(host::CameraObserver /*observer*/) override { }
    [[nodiscard]] std::string locationProblem() override { return "the simulated phone gets no further fix"; }
    [[nodiscard]] bool isLocationAwaited() override { return false; }
    [[nodiscard]] std::string recordingProblem() override { return phone_.recordingProblem(); }

    void runUntil(const std::function<bool()>& condition, const std::function<void()>& onInterrupt) override
    {
        while (!condition()) {
            signals_.handle(phone_, onInterrupt);
            phone_.runUntil(condition, simulatedSlice);
        }
    }

private:
    Signals signals_;
    simulated::Phone phone_;
};

/// 440 Hz, the concert pitch of ISO 16.
float tone(double seconds)
{
    return static_cast<float>(0.25 * std::sin(2 * std::numbers::pi * 440 * seconds));
}

/// Opens the microphone in the options, or else the sound of the file that is the camera.
void addMicrophone(host::HostConfiguration& configuration, const RecordOptions& options,
    const std::optional<host::HostInput>& camera)
{
    configuration.microphone = options.microphone;
    if (options.microphone) {
        if (const auto probed = host::probeMicrophone(*options.microphone); !probed)
            throw Unusable(probed.error().localizedDescription);
    } else if (!options.isSilent && camera && host::hasSound(camera->input)) {
        configuration.microphone = camera->input;
    }
    if (!options.encoders.empty())
        configuration.videoEncoders = options.encoders;
}

/// In the unit and with the "unknown" of both back ends.
int minimumFocusDistance(const GlobalOptions& options)
{
    return options.minimumFocusDistance ? static_cast<int>(std::lround(*options.minimumFocusDistance)) : -1;
}

std::optional<std::chrono::nanoseconds> limitOf(const Needs& needs)
{
    return needs.seconds.transform(nanosecondsOf);
}

void addCameras(host::HostConfiguration& configuration, const GlobalOptions& options, const Needs& needs)
{
    const CameraInputs inputs = cameraInputs(options, needs);
    configuration.backCamera = host::HostInput{.input = inputs.back, .repeats = !needs.playsOnce};
    if (inputs.front)
        configuration.frontCamera = host::HostInput{.input = *inputs.front};
    if (needs.recording)
        addMicrophone(configuration, *needs.recording,
            needs.usesFrontCamera ? configuration.frontCamera : configuration.backCamera);
    for (std::optional<host::HostInput>* input : {&configuration.backCamera, &configuration.frontCamera}) {
        if (!*input)
            continue;
        (*input)->sensorOrientation = options.sensorOrientation;
        (*input)->minimumFocusDistance = minimumFocusDistance(options);
        if (host::isSandboxed() && host::Host::asksForVideoAccess(configuration))
            continue; // it may not be opened before
        const auto probed = host::Host::probe((*input)->input, limitOf(needs));
        if (probed)
            (*input)->presentationDimensions = *probed;
        else if (needs.withoutCamera != WithoutCamera::watch)
            throw Unusable(probed.error().localizedDescription);
    }
}

/// Waits for the permission of the person, and asks for it once, unless it was given before.
void waitForPermission(HostEnvironment& environment, const Needs& needs, bool isJson)
{
    using enum platform::AVAuthorizationStatus;
    Waiter waiter(environment);
    const auto isKnown = [&] {
        return environment.platform().capture.authorizationStatus(platform::AVMediaType::video)
            != notDetermined;
    };
    if (waiter.waitFor(knownPermissionLimit, isKnown) || !needs.asksForCamera)
        return;
    Console(isJson).note("asking for the permission to use the camera");
    const auto answer = std::make_shared<std::optional<platform::AVAuthorizationStatus>>();
    environment.host().requestVideoAccess([answer](auto status) { *answer = status; });
    const std::chrono::nanoseconds limit = limitOf(needs).value_or(permissionLimit);
    if (!waiter.waitFor(limit, [&] { return answer->has_value(); })) {
        if (waiter.isInterrupted())
            throw Interrupted();
        throw Unusable(formatted("nobody permitted the use of the camera within %.4g s", seconds(limit)));
    }
    if (**answer == notDetermined)
        throw Unusable("whether the camera may be used was not answered");
    if (**answer != authorized)
        throw Unusable("the use of the camera is not permitted");
}

std::unique_ptr<Environment> makeHost(const GlobalOptions& options, const Needs& needs)
{
    host::HostConfiguration configuration{.motionLog = needs.motionLog};
    configuration.recorder = needs.recorder;
    if (needs.location)
        configuration.location = *needs.location;
    configuration.writeLine = needs.isSilent ? [](std::string_view) { } : writeUnlessDebugOutput;
    configuration.writeReport = writeToStandardError;
    if (needs.cameras || needs.reportsErrors)
        configuration.writeReport = [](std::string_view) { };
    if (needs.cameras)
        addCameras(configuration, options, needs);
    const bool asks = host::Host::asksForVideoAccess(configuration);
    auto environment = std::make_unique<HostEnvironment>(std::move(configuration), needs.writeRecording);
    if (const std::string problem = environment->host().problem(); !problem.empty())
        throw Unusable(problem);
    if (options.deviceOrientation)
        environment->host().setDeviceOrientation(*options.deviceOrientation);
    environment->host().setInterfaceOrientation(options.interfaceOrientation);
    if (asks)
        waitForPermission(*environment, needs, options.json);
    return environment;
}

std::unique_ptr<Environment> makePhone(const GlobalOptions& options, const Needs& needs)
{
    simulated::PhoneConfiguration configuration{.motionLog = needs.motionLog};
    configuration.recorder = needs.recorder;
    if (!needs.cameras && needs.motionLog)
        configuration.timeIntervalSince1970 = 1; // no date is reported, and small numbers are more precise
    const auto images = std::make_shared<host::HostImages>(); // for JPEG, as from a real camera
    configuration.assets = std::make_shared<host::HostAssets>();
    configuration.images = images;
    configuration.photoEncoder = images;
    if (needs.recording) {
        configuration.movieWriters = needs.recording->encoders.empty()
            ? std::make_shared<host::HostMovieWriters>()
            : std::make_shared<host::HostMovieWriters>(needs.recording->encoders);
        if (!needs.recording->isSilent)
            configuration.microphone = simulated::MicrophoneScript{.sound = tone};
    }
    for (simulated::CameraScript& camera : configuration.cameras) {
        camera.width = 640;
        camera.height = 480;
        camera.frameInterval = simulatedFrameInterval;
        camera.sensorOrientation = options.sensorOrientation.value_or(camera.sensorOrientation);
        camera.minimumFocusDistance = minimumFocusDistance(options);
    }
    auto environment = std::make_unique<SimulatedEnvironment>(std::move(configuration), needs.writeRecording);
    environment->phone().setDeviceOrientation(
        options.deviceOrientation.value_or(platform::UIDeviceOrientation::portrait));
    environment->phone().setInterfaceOrientation(options.interfaceOrientation);
    if (needs.location)
        environment->place(*needs.location);
    return environment;
}

} // namespace

std::unique_ptr<Environment> makeEnvironment(const GlobalOptions& options, const Needs& needs)
{
    if (options.isSimulated() && (options.back || options.front))
        throw Unusable(
            "the simulated back end has its own cameras: --back and --front go with --backend host");
    if (options.minimumObjectSize && !options.minimumFocusDistance)
        throw Unusable(
            "--minimum-object-size needs --minimum-focus-distance: no camera reports how near it focuses");
    if (options.isSimulated() || needs.isOnVirtualTime)
        return makePhone(options, needs);
    return makeHost(options, needs);
}

} // namespace tamsel::capture
