#include "Environment.h"

#include "Files.h"
#include "report/Utf8.h"
#include "seconds.h"

#include <host/Host.h>
#include <host/asset/HostAssets.h>
#include <host/image/HostImages.h>
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

constexpr const char* defaultPattern = "test:720p";
constexpr auto simulatedFrameInterval = std::chrono::nanoseconds(1'000'000'000 / 30);
constexpr auto simulatedSlice = 100ms;

sigset_t takenSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGUSR1, SIGUSR2})
        sigaddset(&signals, signal);
    return signals;
}

/// Reads the signals from a descriptor, so that they are handled between two items of the main loop. To be made before there
/// are threads, which must not have the signals either; until then signals end the program, also while an input opens.
class Signals {
public:
    Signals() : descriptor_(signalfd(-1, &set_, SFD_NONBLOCK | SFD_CLOEXEC))
    {
        if (descriptor_ >= 0) // else they end the program still
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
            else {
                interruptWrites();
                onInterrupt();
            }
        }
    }

private:
    sigset_t set_ = takenSignals();
    int descriptor_;
};

void writeToStandardError(std::string_view line)
{
    std::fprintf(stderr, "%s\n", printable(line).c_str());
}

/// Debug output, which is quoted, is not for whoever started a command.
void writeUnlessDebugOutput(std::string_view line)
{
    if (!line.starts_with('"'))
        writeToStandardError(line);
}

class HostEnvironment final : public Environment {
public:
    explicit HostEnvironment(host::HostConfiguration configuration) : host_(std::move(configuration)) { }
    ~HostEnvironment() override { interruptWrites(); } // a worker may wait in one
    HostEnvironment(const HostEnvironment&) = delete;
    HostEnvironment& operator=(const HostEnvironment&) = delete;

    [[nodiscard]] host::Host& host() { return host_; }
    [[nodiscard]] platform::Platform& platform() override { return host_.platform(); }
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> makeQueue(std::string label) override
    {
        return host_.makeQueue(std::move(label));
    }
    [[nodiscard]] std::vector<std::shared_ptr<AVCaptureDevice>> cameras() override { return host_.cameras(); }
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
    explicit SimulatedEnvironment(simulated::PhoneConfiguration configuration)
        : phone_(std::move(configuration))
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

    [[nodiscard]] std::string locationProblem() override
    {
        return "the simulated phone hears of no further fix";
    }
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

std::expected<std::unique_ptr<HostEnvironment>, std::string> makeHost(host::HostConfiguration configuration)
{
    auto environment = std::make_unique<HostEnvironment>(std::move(configuration));
    if (std::string problem = environment->host().problem(); !problem.empty())
        return std::unexpected(std::move(problem));
    return environment;
}

std::expected<std::unique_ptr<Environment>, std::string> makeHost(const Options& options)
{
    host::HostConfiguration configuration{.motionLog = options.motion.log};
    if (options.location)
        configuration.location = *options.location;
    if (options.command == Command::album || options.command == Command::detect)
        configuration.writeLine = [](std::string_view) { }; // what is to be said, the command says
    else
        configuration.writeLine = writeUnlessDebugOutput;
    configuration.writeReport = writeToStandardError;
    if (options.needsCameras())
        configuration.writeReport = [](std::string_view) { }; // the command tells its errors itself
    if (!options.needsCameras())
        return makeHost(std::move(configuration));
    if (options.command == Command::detect) {
        configuration.backCamera = host::HostInput{.input = options.file, .repeats = false};
    } else if (options.back) {
        configuration.backCamera = host::HostInput{.input = *options.back};
    }
    if (options.useFrontCamera && !options.front)
        return std::unexpected("there is no front camera: --front names one");
    if (!configuration.backCamera) {
        const std::vector<std::string> nodes = host::Host::videoNodes();
        configuration.backCamera = host::HostInput{.input = nodes.empty() ? defaultPattern : nodes.front()};
    }
    if (options.front)
        configuration.frontCamera = host::HostInput{.input = *options.front};
    if (options.command == Command::status)
        configuration.microphone = options.record.microphone;
    if (options.records()) {
        const auto& camera = options.useFrontCamera ? configuration.frontCamera : configuration.backCamera;
        configuration.microphone = options.record.microphone;
        if (options.record.microphone) {
            if (const auto probed = host::probeMicrophone(*options.record.microphone); !probed)
                return std::unexpected(probed.error().localizedDescription);
        }
        if (!options.record.microphone && !options.record.isSilent && camera && host::hasSound(camera->input))
            configuration.microphone = camera->input;
        if (!options.record.encoders.empty())
            configuration.videoEncoders = options.record.encoders;
    }
    // A recording's seconds begin with its first frame.
    std::optional<std::chrono::nanoseconds> limit;
    if (options.seconds && !options.records())
        limit = nanosecondsOf(*options.seconds);
    for (std::optional<host::HostInput>* input : {&configuration.backCamera, &configuration.frontCamera}) {
        if (!*input)
            continue;
        (*input)->sensorOrientation = options.sensorOrientation.value_or((*input)->sensorOrientation);
        const auto probed = host::Host::probe((*input)->input, limit);
        if (!probed)
            return std::unexpected(probed.error().localizedDescription);
        (*input)->presentationDimensions = *probed;
    }
    auto environment = makeHost(std::move(configuration));
    if (environment) {
        (*environment)->host().setDeviceOrientation(options.deviceOrientation);
        (*environment)->host().setInterfaceOrientation(options.interfaceOrientation);
    }
    return environment;
}

std::unique_ptr<Environment> makePhone(const Options& options)
{
    simulated::PhoneConfiguration configuration{.motionLog = options.motion.log};
    if (options.command == Command::motion)
        configuration.timeIntervalSince1970 = 1; // no date is reported, and the doubles are the finer
    if (options.command == Command::asset) {
        configuration.assets = std::make_shared<host::HostAssets>();
        configuration.images = std::make_shared<host::HostImages>();
    }
    if (options.command == Command::still || options.command == Command::capture) {
        const auto pictures = std::make_shared<host::HostImages>(); // a JPEG, as of a real camera
        configuration.images = pictures;
        configuration.photoEncoder = pictures;
    }
    if (options.records()) {
        configuration.movieWriters = options.record.encoders.empty()
            ? std::make_shared<host::HostMovieWriters>()
            : std::make_shared<host::HostMovieWriters>(options.record.encoders);
        if (!options.record.isSilent)
            configuration.microphone = simulated::MicrophoneScript{.sound = tone};
    }
    for (simulated::CameraScript& camera : configuration.cameras) {
        camera.width = 640;
        camera.height = 480;
        camera.frameInterval = simulatedFrameInterval;
        camera.sensorOrientation = options.sensorOrientation.value_or(camera.sensorOrientation);
    }
    auto environment = std::make_unique<SimulatedEnvironment>(std::move(configuration));
    environment->phone().setDeviceOrientation(options.deviceOrientation);
    environment->phone().setInterfaceOrientation(options.interfaceOrientation);
    if (options.location)
        environment->place(*options.location);
    return environment;
}

} // namespace

std::expected<std::unique_ptr<Environment>, std::string> makeEnvironment(const Options& options)
{
    if (options.isOnVirtualTime())
        return makePhone(options);
    return makeHost(options);
}

} // namespace tamsel::capture
