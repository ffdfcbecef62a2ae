#include "commands/commands.h"

#include "Environment.h"
#include "Waiter.h"
#include "options/values.h"
#include "report/Ledger.h"
#include "report/SessionErrors.h"
#include "report/Utf8.h"

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/CaptureServices.h>
#include <tamsel/platform/MotionServices.h>
#include <tamsel/platform/Platform.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;
using Manager = OvriSourceManager;

namespace {

/// Asks everything that a manager can be asked: before a session, and of a short session of each camera.
class StatusCommand {
public:
    StatusCommand(const GlobalOptions& global, Environment& environment);

    [[nodiscard]] ExitStatus run();

private:
    struct Answers;

    /// False when it was interrupted.
    [[nodiscard]] bool ask(Answers& answers);
    void writeEvent(const Answers& answers);
    static void printTable(const Answers& answers);

    const GlobalOptions& global_;
    Environment& environment_;
    Console console_;
};

constexpr std::chrono::nanoseconds frameLimit = 5s;
constexpr std::chrono::nanoseconds endLimit = 5s;

std::string_view nameOf(AVAuthorizationStatus status)
{
    switch (status) {
    case AVAuthorizationStatus::notDetermined:
        return "not asked for";
    case AVAuthorizationStatus::restricted:
        return "restricted";
    case AVAuthorizationStatus::denied:
        return "denied";
    case AVAuthorizationStatus::authorized:
        break;
    }
    return "authorised";
}

const char* yesOrNo(bool answer)
{
    return answer ? "yes" : "no";
}

/// What a camera answers while it runs.
struct CameraStatus {
    bool isAvailable = false;
    bool isActive = false;
    bool canCaptureStill = false;
    bool canRecord = false;
    CGSize resolution = {};
    FrameCounts counts = {};
};

/// Waits for one frame of a camera.
class Session final : public OvriSourceToSession, public std::enable_shared_from_this<Session> {
public:
    Session(const GlobalOptions& global, Environment& environment, Console& console)
        : global_(global),
          environment_(environment),
          console_(console),
          waiter_(environment)
    {
    }

    [[nodiscard]] CameraStatus look(const SourceType& source)
    {
        const auto manager = Manager::create({source}, global_.sessionPreset(),
            environment_.makeQueue("org.tamsel.capture.response"), environment_.platform());
        CameraStatus status;
        status.isAvailable = manager->isSourceAvailable(source);
        if (!status.isAvailable || !Manager::isCameraAuthorized(environment_.platform()))
            return status;
        if (const auto started
            = manager->startSession(source, weak_from_this(), {}, std::make_shared<UIView>(CGSize{640, 480}));
            !started) {
            console_.fail(started.error());
            return status;
        }
        if (!waiter_.waitFor(frameLimit, [this] { return hasFrame_ || hasFailed_; })
            && !waiter_.isInterrupted())
            console_.fail("the camera delivers no frame");
        status.isActive = manager->isCameraActive();
        status.canCaptureStill = manager->canCaptureStillImage();
        status.canRecord = manager->canRecordVideo();
        status.resolution = manager->imageResolution();
        manager->stopAllSessions();
        waiter_.goOn();
        if (hasFrame_) // else its input may still be waited for
            (void)waiter_.waitFor(endLimit, [&] { // a session that has failed is left as it is
                return (hasFailed_ || !manager->canRecordVideo()) && manager->frameCounts().inFlight == 0;
            });
        status.counts = manager->frameCounts();
        return status;
    }

    [[nodiscard]] bool isInterrupted() const { return waiter_.isInterrupted(); }

    void sourceManagerDidGetFrame(
        OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& /*frame*/) override
    {
        hasFrame_ = true;
        waiter_.wake();
    }
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override
    {
        if (!reportIfOver(console_, manager, error))
            return;
        hasFailed_ = true;
        waiter_.wake();
    }

private:
    const GlobalOptions& global_;
    Environment& environment_;
    Console& console_;
    Waiter waiter_;
    std::atomic<bool> hasFrame_ = false;
    std::atomic<bool> hasFailed_ = false;
};

/// Both sides of the device, and what is known about the camera there.
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
    bool hasGyroscope = false; ///< as the library says
    bool hasAttitude = false; ///< as the platform says, and the library never
    bool hasMicrophone = false;
};

bool StatusCommand::ask(Answers& answers)
{
    Platform& platform = environment_.platform();
    answers.cameraPermission = platform.capture.authorizationStatus(AVMediaType::video);
    answers.microphonePermission = platform.capture.authorizationStatus(AVMediaType::audio);
    answers.hasMicrophone = platform.capture.defaultAudioDevice() != nullptr;
    answers.hasGyroscope = Manager::create(
        {SourceType::stability()}, global_.sessionPreset(), environment_.makeQueue("status"), platform)
                               ->isSourceAvailable(SourceType::stability());
    answers.hasAttitude = platform.motion.makeMotionManager()->isDeviceMotionAvailable();
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
    sources["stability"] = answers.hasGyroscope;
    for (const char* never : {"facingAngle", "asset", "mic", "nfc", "undefined"})
        sources[never] = false;
    console_.writeEvent("status",
        {{"permissions",
             {{"camera", nameOf(answers.cameraPermission)},
                 {"microphone", nameOf(answers.microphonePermission)}}},
            {"sources", sources}, {"cameras", cameras}, {"gyroscope", answers.hasGyroscope},
            {"attitude", answers.hasAttitude}, {"microphone", answers.hasMicrophone}});
}

void StatusCommand::printTable(const Answers& answers)
{
    const auto row = [](const char* name, const std::string& value, const std::string& remark = {}) {
        std::printf("  %-14s%-15s%s\n", name, value.c_str(), remark.c_str());
    };
    std::printf("Permission\n");
    row("camera", std::string(nameOf(answers.cameraPermission)));
    row("microphone", std::string(nameOf(answers.microphonePermission)),
        answers.hasMicrophone ? "" : "there is none");

    std::printf(
        "\n  %-14s%-15s%-13s%-7s%-6s%s\n", "Source", "Available", "Pictures", "Still", "Film", "Input");
    for (const Side& side : answers.sides) {
        const CameraStatus& status = side.status;
        std::array<char, 40> size{"-"};
        if (status.resolution.width > 0)
            std::snprintf(
                size.data(), size.size(), "%.0f x %.0f", status.resolution.width, status.resolution.height);
        std::printf("  %-14s%-15s%-13s%-7s%-6s%s\n", side.name, yesOrNo(status.isAvailable), size.data(),
            yesOrNo(status.canCaptureStill), yesOrNo(status.canRecord), printable(side.input).c_str());
    }
    row("held still", yesOrNo(answers.hasGyroscope), answers.hasGyroscope ? "" : "there is no gyroscope");
    row("tilted", "never said",
        answers.hasAttitude ? "works here" : "does not work here: there is no attitude");
    row("recordings", "never told", "what can be read of a file shows when it is started");

    for (const Side& side : answers.sides) {
        if (side.status.counts.produced == 0)
            continue;
        std::printf("\nFrames of the %s, which ran until the first had come\n", side.name);
        printLedger(side.status.counts);
    }
    std::fflush(stdout);
}

ExitStatus StatusCommand::run()
{
    Answers answers{};
    const bool isWhole = ask(answers);
    if (isWhole && console_.isJson())
        writeEvent(answers);
    else if (isWhole)
        printTable(answers);
    return console_.endSession(!isWhole);
}

} // namespace

void addStatus(Program& program)
{
    struct Options {
        MotionOptions motion;
        RecordOptions sound;
    };
    const auto options = std::make_shared<Options>();
    const auto run = [&global = program.global, options] {
        options->motion.readLog();
        options->sound.isSilent = !options->sound.microphone;
        const auto environment = makeEnvironment(
            global, {.cameras = true, .motionLog = options->motion.log, .recording = options->sound});
        return StatusCommand(global, *environment).run();
    };
    CLI::App& command = addCommand(program, "status",
        "list permissions, available sources, what can be captured and how large the pictures are. Each "
        "camera runs until its first frame",
        run);
    addValue(command, "--motion", options->motion.logFile, "LOG",
        "a log of motion sensors, as for capture (default: sensors)", text);
    addMicrophone(command, options->sound);
}

} // namespace tamsel::capture
