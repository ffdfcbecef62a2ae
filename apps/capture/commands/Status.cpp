#include "commands/commands.h"

#include "Environment.h"
#include "SessionClient.h"
#include "commands/StatusWatch.h"
#include "options/values.h"
#include "otherCameras.h"
#include "report/Ledger.h"
#include "report/Utf8.h"

#include <tamsel/platform/CaptureServices.h>
#include <tamsel/platform/MotionServices.h>
#include <tamsel/platform/Platform.h>

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;
using Manager = OvriSourceManager;

namespace {

/// Queries everything that a manager reports, before a session and in a short session of each camera.
class StatusCommand {
public:
    StatusCommand(const GlobalOptions& global, Environment& environment);

    /// With `watches`, reports changes afterwards until an interrupt.
    [[nodiscard]] ExitStatus run(bool watches);

private:
    struct Answers;

    /// False on an interrupt.
    [[nodiscard]] bool ask(Answers& answers);
    void writeEvent(const Answers& answers);
    void printTable(const Answers& answers);

    const GlobalOptions& global_;
    Environment& environment_;
    Console console_;
};

constexpr std::chrono::nanoseconds frameLimit = 5s;
constexpr std::chrono::nanoseconds endLimit = 5s;

/// What the manager reports while a camera runs.
struct CameraStatus {
    bool isAvailable = false;
    bool isActive = false;
    bool canCaptureStill = false;
    bool canRecord = false;
    CGSize resolution = {};
    FrameCounts counts = {};
};

/// Runs one camera until its first frame.
class Session final : public SessionClient, public std::enable_shared_from_this<Session> {
public:
    Session(const GlobalOptions& global, Environment& environment, Console& console)
        : SessionClient(global, environment, console)
    {
    }

    [[nodiscard]] CameraStatus look(const SourceType& source)
    {
        makeManager({source}, global_.sessionPreset());
        CameraStatus status;
        status.isAvailable = manager_->isSourceAvailable(source);
        if (!status.isAvailable || !Manager::isCameraAuthorized(environment_.platform())
            || !start(source, weak_from_this()))
            return status;
        (void)waitForFrame(frameLimit);
        status.isActive = manager_->isCameraActive();
        status.canCaptureStill = manager_->canCaptureStillImage();
        status.canRecord = manager_->canRecordVideo();
        status.resolution = manager_->imageResolution();
        manager_->stopAllSessions();
        waiter_.clearInterrupt();
        if (hasFrame_) // without one its input may never open
            (void)waiter_.waitFor(endLimit, [&] { // a session that has failed does not stop
                return (hasFailed_ || !manager_->canRecordVideo()) && manager_->frameCounts().inFlight == 0;
            });
        status.counts = manager_->frameCounts();
        return status;
    }

    [[nodiscard]] bool isInterrupted() const { return waiter_.isInterrupted(); }
};

/// One side of the device and its camera.
struct Side {
    const char* name;
    SourceType source;
    AVCaptureDevicePosition position;
    CameraStatus status = {};
    std::string input = {};
};

StatusCommand::StatusCommand(const GlobalOptions& global, Environment& environment)
    : global_(global),
      environment_(environment),
      console_(global.json)
{
}

struct StatusCommand::Answers {
    AVAuthorizationStatus cameraPermission;
    AVAuthorizationStatus microphonePermission;
    std::array<Side, 2> sides{{
        {"back camera", SourceType::cameraBack(true), AVCaptureDevicePosition::back},
        {"front camera", SourceType::cameraFront(true), AVCaptureDevicePosition::front},
    }};
    MotionSensors sensors;
    bool hasMicrophone = false;
    std::vector<host::AvailableCamera> otherCameras;
};

bool StatusCommand::ask(Answers& answers)
{
    Platform& platform = environment_.platform();
    answers.cameraPermission = platform.capture.authorizationStatus(AVMediaType::video);
    answers.microphonePermission = platform.capture.authorizationStatus(AVMediaType::audio);
    answers.hasMicrophone = platform.capture.defaultAudioDevice() != nullptr;
    answers.sensors = MotionSensors::of(platform);
    answers.otherCameras = otherCameras(global_, environment_);
    for (const auto& camera : environment_.cameras()) {
        for (Side& side : answers.sides) {
            if (side.position == camera->position())
                side.input = camera->localizedName();
        }
    }
    for (Side& side : answers.sides) {
        const auto session = std::make_shared<Session>(global_, environment_, console_);
        side.status = session->look(side.source);
        if (session->isInterrupted())
            return false;
    }
    return true;
}

void StatusCommand::writeEvent(const Answers& answers)
{
    Json sources = Json::object();
    Json cameras = Json::object();
    for (const Side& side : answers.sides) {
        const bool isBack = side.position == AVCaptureDevicePosition::back;
        const CameraStatus& status = side.status;
        sources[isBack ? "cameraBack" : "cameraFront"] = status.isAvailable;
        cameras[isBack ? "back" : "front"]
            = {{"input", side.input.empty() ? Json(nullptr) : Json(side.input)}, {"active", status.isActive},
                {"canCaptureStillImage", status.canCaptureStill}, {"canRecordVideo", status.canRecord},
                {"width", numberOf(status.resolution.width)}, {"height", numberOf(status.resolution.height)},
                {"frames", ledgerJson(status.counts)}};
    }
    sources["stability"] = answers.sensors.hasGyroscope;
    for (const char* never : {"facingAngle", "asset", "mic", "nfc", "undefined"})
        sources[never] = false;
    Json others = Json::array();
    for (const host::AvailableCamera& camera : answers.otherCameras)
        others.push_back({{"input", camera.input}, {"title", camera.title}});
    console_.writeEvent("status",
        {{"permissions",
             {{"camera", nameOf(answers.cameraPermission)},
                 {"microphone", nameOf(answers.microphonePermission)}}},
            {"sources", sources}, {"cameras", cameras}, {"otherCameras", others},
            {"gyroscope", answers.sensors.hasGyroscope}, {"attitude", answers.sensors.hasAttitude},
            {"microphone", answers.hasMicrophone}});
}

void StatusCommand::printTable(const Answers& answers)
{
    const auto row = [&](const char* name, const std::string& value, const std::string& remark = {}) {
        console_.write(formatted("  %-14s%-15s", name, value.c_str()) + remark);
    };
    console_.write("Permission");
    row("camera", std::string(nameOf(answers.cameraPermission)));
    row("microphone", std::string(nameOf(answers.microphonePermission)),
        answers.hasMicrophone ? "" : "there is no microphone");

    console_.write("");
    console_.write(formatted(
        "  %-14s%-15s%-13s%-7s%-6s%s", "Source", "Available", "Pictures", "Still", "Film", "Input"));
    for (const Side& side : answers.sides) {
        const CameraStatus& status = side.status;
        const auto [width, height] = status.resolution;
        console_.write(formatted("  %-14s%-15s%-13s%-7s%-6s", side.name, yesOrNo(status.isAvailable),
                           width > 0 ? formatted("%.0f x %.0f", width, height).c_str() : "-",
                           yesOrNo(status.canCaptureStill), yesOrNo(status.canRecord))
            + side.input);
    }
    for (const host::AvailableCamera& camera : answers.otherCameras)
        row("another camera", "not used", describe(camera));
    if (!answers.sensors.hasGyroscope && !answers.sensors.hasAttitude) {
        row("motion", "no", "there are no motion sensors");
    } else {
        row("held still", yesOrNo(answers.sensors.hasGyroscope),
            answers.sensors.hasGyroscope ? "" : "there is no gyroscope");
        row("tilted", yesOrNo(answers.sensors.hasAttitude),
            answers.sensors.hasAttitude ? "isSourceAvailable returns false all the same"
                                        : "there is no attitude");
    }
    row("video file", "-", "known once it is opened");

    for (const Side& side : answers.sides) {
        if (side.status.counts.produced == 0)
            continue;
        console_.write("");
        console_.write(formatted("Frames of the %s until the first arrived", side.name));
        writeLedger(console_, side.status.counts);
    }
}

ExitStatus StatusCommand::run(bool watches)
{
    Answers answers{};
    std::optional<StatusWatch> watch;
    if (watches)
        watch.emplace(environment_, console_);
    bool wasInterrupted = !ask(answers);
    if (!wasInterrupted) {
        writeEvent(answers);
        printTable(answers);
    }
    if (watch && !wasInterrupted) {
        watch->run();
        wasInterrupted = true;
    }
    return console_.endSession(wasInterrupted);
}

} // namespace

void addStatus(Program& program)
{
    struct Options {
        MotionOptions motion;
        RecordOptions sound;
        bool watches = false;
    };
    const auto options = std::make_shared<Options>();
    const auto run = [&global = program.global, options] {
        options->motion.readLog();
        options->sound.isSilent = !options->sound.microphone;
        if (options->watches)
            global.requireHost("does not change: --watch goes with --backend host");
        const auto environment = makeEnvironment(global,
            {.cameras = true,
                .withoutCamera = options->watches ? WithoutCamera::watch : WithoutCamera::reportedPattern,
                .asksForCamera = false,
                .motionLog = options->motion.log,
                .recording = options->sound});
        return StatusCommand(global, *environment).run(options->watches);
    };
    CLI::App& command = addCommand(program, "status",
        "list permissions, available sources, what can be captured and how large the pictures are. Each "
        "camera runs until its first frame",
        run);
    addValue(command, "--motion", options->motion.logFile, "LOG",
        "a log of motion sensors, as for capture (default: sensors)", text);
    addMicrophone(command, options->sound);
    command.add_flag("--watch", options->watches,
        "report changes afterwards, until it is interrupted: cameras that come and go, permission, how the "
        "device is held, and sensors. Cameras need not exist yet; without --back it watches for any V4L2 "
        "camera");
}

} // namespace tamsel::capture
