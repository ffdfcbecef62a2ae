#include "commands/commands.h"

#include "Environment.h"
#include "Files.h"
#include "Waiter.h"
#include "commands/detection.h"
#include "options/CodeKinds.h"
#include "options/Unusable.h"
#include "options/values.h"
#include "pictures/Picture.h"
#include "pictures/Upright.h"
#include "report/DetectionReport.h"
#include "report/SessionErrors.h"
#include "seconds.h"
#include "timeLimits.h"

#include <engine/capture/turnPixels.h>
#include <host/asset/HostAssets.h>
#include <tamsel/camera/videoOrientation.h>
#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/Clock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <memory>
#include <numbers>
#include <optional>
#include <ranges>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

struct DetectOptions {
    std::vector<std::string> inputs;
    std::vector<MetadataObjectType> kinds;
    bool looksForFaces = false;
    std::optional<std::string> annotated;
    std::optional<double> seconds;
    std::optional<std::int64_t> orientation;
    bool isInRealTime = false;
    bool failsIfNone = false;
};

/// Looks for codes and faces in the frames of a camera, or of a video that is played once.
class DetectCommand final : public OvriSourceToSession,
                            public OvriMetadataOutputDelegate,
                            public std::enable_shared_from_this<DetectCommand> {
public:
    DetectCommand(
        const GlobalOptions& global, const DetectionJob& job, Console& console, Environment& environment);

    /// Whether something was found.
    [[nodiscard]] bool run();
    [[nodiscard]] bool wasInterrupted() const { return waiter_.isInterrupted(); }

    // On the response queue.
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;
    void sourceManagerDidDetect(OvriSourceManager& manager, const OvriMetadataFaceObject& face) override;
    void sourceManagerDidDetect(
        OvriSourceManager& manager, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) override;

private:
    void watch();
    /// What is found from now on is in the frame that came last.
    void beginBatch();
    void finish();
    void writeAnnotated();

    const GlobalOptions global_;
    const DetectionJob job_;
    Environment& environment_;
    Console& console_;
    Waiter waiter_;
    const std::shared_ptr<platform::DispatchQueue> responseQueue_;
    std::shared_ptr<OvriSourceManager> manager_;
    std::atomic<bool> isOver_ = false; ///< the session cannot go on
    std::atomic<bool> hasFound_ = false;

    // Of the response queue.
    DetectionReport report_;
    std::uint64_t frames_ = 0;
    std::shared_ptr<const platform::CVBuffer> lastFrame_; ///< where it is to be annotated
    std::shared_ptr<const platform::CVBuffer> foundFrame_;
    std::optional<platform::CGRect> foundFace_; ///< in that frame
    std::vector<DetectedCode> foundCodes_;
};

/// How the stored frames of a video file are oriented; absent for any other input.
std::optional<AVCaptureVideoOrientation> storedOrientationOf(const std::string& input)
{
    return quarterTurnsOfVideo(input).transform(engine::sensorUprightAfter);
}

/// The look that is under way when a video ends is over by then.
constexpr nanoseconds lookLimit = 500ms;
/// The first look makes what finds faces; on a busy machine a short video ends before that.
constexpr nanoseconds firstLookLimit = 2s;

DetectCommand::DetectCommand(
    const GlobalOptions& global, const DetectionJob& job, Console& console, Environment& environment)
    : global_(global),
      job_(job),
      environment_(environment),
      console_(console),
      waiter_(environment),
      responseQueue_(environment.makeQueue("org.tamsel.capture.response")),
      report_(console_, environment.platform().clock.monotonic(), job.label)
{
}

void DetectCommand::sourceManagerDidGetFrame(
    OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& frame)
{
    ++frames_;
    if (job_.annotated)
        lastFrame_ = frame.imageBuffer();
}

void DetectCommand::sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error)
{
    const auto* cameraError = std::get_if<CameraError>(&error);
    if (!cameraError)
        return;
    if (cameraError->kind() != CameraError::Case::videoFrameError) {
        console_.fail(*cameraError);
    } else {
        // A live frame that was dropped does not matter here, unless the camera was lost with it.
        if (!isCameraLost(manager.frameCounts()))
            return;
        std::error_code ignored;
        if (!std::filesystem::is_regular_file(job_.input, ignored))
            console_.fail("the camera was lost");
        else if (frames_ == 0)
            console_.fail(job_.input + ": no frame of it can be decoded");
    }
    isOver_ = true;
    waiter_.wake();
}

void DetectCommand::sourceManagerDidDetect(OvriSourceManager& /*manager*/, const OvriMetadataFaceObject& face)
{
    const AVMetadataFaceObject& object = *face.face();
    report_.addFace(object.bounds(), object.faceID(), environment_.platform().clock.monotonic());
    beginBatch();
    foundFace_ = object.bounds();
}

void DetectCommand::sourceManagerDidDetect(
    OvriSourceManager& /*manager*/, const std::vector<OvriMetadataMachineReadableCodeObject>& codes)
{
    report_.addCodes(codes, environment_.platform().clock.monotonic());
    beginBatch();
    foundCodes_ = codes;
}

void DetectCommand::beginBatch()
{
    hasFound_ = true;
    waiter_.wake();
    if (foundFrame_ == lastFrame_)
        return; // a face comes before the codes of its batch
    foundFrame_ = lastFrame_;
    foundFace_ = std::nullopt;
    foundCodes_.clear();
}

void DetectCommand::watch()
{
    const nanoseconds length = job_.seconds ? nanosecondsOf(*job_.seconds) : forEver;
    if (!waiter_.waitFor(length, [this] { return isOver_.load(); }))
        return;
    const bool hadFound = hasFound_;
    (void)waiter_.waitFor(hadFound ? lookLimit : firstLookLimit, [&] { return !hadFound && hasFound_; });
}

void DetectCommand::writeAnnotated()
{
    const CVBuffer* frame = foundFrame_ ? foundFrame_.get() : lastFrame_.get();
    if (!frame) {
        console_.fail("no frame came, so there is no picture of one");
        return;
    }
    const CGImagePropertyOrientation orientation = engine::orientationAfter(
        engine::quarterTurns(global_.sensorOrientation.value_or(AVCaptureVideoOrientation::portrait),
            videoOrientation(global_.interfaceOrientation)));
    std::vector<Finding> findings;
    if (foundFace_)
        findings.push_back(findingOf(*foundFace_));
    std::ranges::transform(
        foundCodes_, std::back_inserter(findings), [](const DetectedCode& code) { return findingOf(code); });
    turnUpright(findings, orientation);
    Picture picture = makePicture(*frame, frame->width());
    annotate(picture, findings);
    if (const auto written = writePicture(picture, *job_.annotated); !written)
        console_.fail(written.error());
}

void DetectCommand::finish()
{
    if (!console_.isJson() && frames_ > 0)
        console_.write(std::to_string(frames_) + " frames; "
            + report_.summary(job_.asksForCodes(), job_.asksForFaces()));
    if (job_.annotated)
        writeAnnotated();
}

bool DetectCommand::run()
{
    const SourceType source = SourceType::cameraBack(false);
    manager_ = OvriSourceManager::create(
        {source}, global_.sessionPreset(), responseQueue_, environment_.platform());
    manager_->setMetadataDetection(job_.kinds, weak_from_this());
    const auto view = std::make_shared<UIView>(CGSize{640, 480});
    if (const auto started = manager_->startSession(source, weak_from_this(), {}, view); !started)
        console_.fail(started.error());
    else
        watch();
    manager_->stopAllSessions();
    waiter_.runBehind(*responseQueue_, [self = shared_from_this()] { self->finish(); });
    manager_ = nullptr;
    return hasFound_;
}

/// One name of a kind of codes, or several with commas between them.
void addKinds(const std::string& given, std::vector<MetadataObjectType>& kinds)
{
    if (given == "all") {
        std::ranges::copy(allBarcodes(), std::back_inserter(kinds));
        return;
    }
    for (const auto part : std::views::split(given, ',')) {
        const std::string_view name(part.begin(), part.end());
        const auto* known = std::ranges::find(codeKinds, name, &CodeKind::first);
        if (known == codeKinds.end()) {
            std::string names;
            for (const CodeKind& kind : codeKinds)
                names.append(", ").append(kind.first);
            throw Unusable(std::string("--kinds: '").append(name).append("' is none of all").append(names));
        }
        kinds.push_back(known->second);
    }
}

/// Looks at one input. Whether something was found.
bool detectIn(const DetectionJob& job, const DetectOptions& options, GlobalOptions global, Console& console,
    bool& wasInterrupted)
{
    if (const auto found = detectInPicture(job, console))
        return *found;
    if (!options.isInRealTime) {
        if (const auto found = detectInVideo(job, console, wasInterrupted))
            return *found;
    } else if (!global.sensorOrientation) {
        global.sensorOrientation = storedOrientationOf(job.input);
    }
    global.back = job.input;
    const auto environment = makeEnvironment(
        global, {.cameras = true, .playsOnce = true, .isSilent = true, .seconds = job.seconds});
    const auto command = std::make_shared<DetectCommand>(global, job, console, *environment);
    const bool hasFound = command->run();
    wasInterrupted = command->wasInterrupted();
    return hasFound;
}

/// The jobs of all inputs, whose outputs have been checked.
std::vector<DetectionJob> jobsOf(const GlobalOptions& global, const DetectOptions& options)
{
    std::vector<DetectionJob> jobs;
    std::vector<std::string*> outputs;
    const bool isBatch = options.inputs.size() > 1;
    std::error_code error;
    for (const std::string& input : options.inputs) {
        DetectionJob job{.input = input,
            .label = std::nullopt,
            .kinds = options.kinds,
            .annotated = options.annotated,
            .seconds = options.seconds,
            .orientation = options.orientation};
        if (isBatch)
            job.label = input;
        if (options.annotated && (isBatch || std::filesystem::is_directory(*options.annotated, error)))
            job.annotated = outputOf(input, *options.annotated, ".png");
        if (job.annotated)
            requirePictureEnding(*job.annotated);
        jobs.push_back(std::move(job));
    }
    if (isBatch && options.annotated && !options.annotated->contains("{}")
        && !std::filesystem::is_directory(*options.annotated, error))
        throw Unusable(
            *options.annotated + ": several inputs need a folder, or a name with {} for the name of each");
    for (DetectionJob& job : jobs) {
        if (job.annotated)
            outputs.push_back(&*job.annotated);
    }
    claimOutputs(outputs, options.inputs, global.overwrites);
    for (DetectionJob& job : jobs)
        job.input = readableInput(job.input);
    return jobs;
}

ExitStatus detect(const GlobalOptions& global, DetectOptions options)
{
    global.requireHost("has no codes and faces: detect goes with --backend host");
    if (global.back || global.front)
        throw Unusable("detect names its input itself: --back and --front go with other commands");
    if (options.looksForFaces)
        options.kinds.push_back(MetadataObjectType::face);
    if (options.kinds.empty())
        options.kinds = allBarcodes();
    if (!canDetect(options.kinds))
        throw Unusable("this build cannot detect faces");
    const std::vector<DetectionJob> jobs = jobsOf(global, options);
    Console console(global.json);
    bool hasFound = false;
    bool isUnusable = false;
    bool wasInterrupted = false;
    for (const DetectionJob& job : jobs) {
        try {
            if (detectIn(job, options, global, console, wasInterrupted))
                hasFound = true;
        } catch (const Unusable& problem) {
            console.note(problem.what());
            isUnusable = true;
        }
        if (wasInterrupted)
            break;
    }
    const ExitStatus status = console.endSession(wasInterrupted);
    if (status != ExitStatus::done && status != ExitStatus::failed)
        return status;
    if (isUnusable)
        return ExitStatus::unusable;
    return status == ExitStatus::done && options.failsIfNone && !hasFound ? ExitStatus::nothingFound : status;
}

} // namespace

void addDetect(Program& program)
{
    const auto options = std::make_shared<DetectOptions>();
    CLI::App& command = addCommand(program, "detect",
        "find codes and faces in pictures, in videos or in the frames of a camera. A camera runs until it is "
        "interrupted or a limit is reached. Places are relative to the stored picture, 0 to 1 from its top "
        "left",
        [&global = program.global, options] { return detect(global, *options); });
    command
        .add_option("INPUT", options->inputs,
            "pictures (JPEG, PNG, WebP, TIFF, HEIC) and videos; or one camera, as for --back")
        ->required();
    command
        .add_option_function<std::vector<std::string>>(
            "--kinds",
            [options](const std::vector<std::string>& given) {
                if (given.empty() || given.front().empty())
                    throw Unusable("--kinds needs a value");
                for (const std::string& names : given)
                    addKinds(names, options->kinds);
            },
            "which kinds of codes (default: all; with --faces alone none). K: code39, code39Mod43, code93, "
            "code128, ean8, ean13, interleaved2of5, itf14, upce, aztec, dataMatrix, pdf417, qr, all")
        ->type_name("K,K,...")
        ->allow_extra_args(false);
    command.add_flag("--faces", options->looksForFaces, "find the largest face");
    addValue(command, "--annotate", options->annotated, "FILE",
        "save a picture with outlines and texts. Of a video or a camera it is the frame in which something "
        "was found last, else the last one. Of several inputs FILE is a folder, or a name with {}",
        text);
    addValue(command, "--seconds", options->seconds, "S", "end after S seconds of a video or a camera",
        secondsAboveZero);
    addValue(command, "--orientation", options->orientation, "1..8",
        "the orientation of a picture in which to look for faces, and to draw it (default: its own)",
        exifOrientation);
    command.add_flag("--real-time", options->isInRealTime,
        "play a video at its own speed, as a camera, not as fast as possible");
    command.add_flag("--fail-if-none", options->failsIfNone, "return 4 when nothing was found in any input");
}

} // namespace tamsel::capture
