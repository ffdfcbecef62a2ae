#include "commands/commands.h"

#include "Environment.h"
#include "Files.h"
#include "SessionClient.h"
#include "commands/detection.h"
#include "commands/forEachInput.h"
#include "options/CodeKinds.h"
#include "options/Unusable.h"
#include "options/values.h"
#include "pictures/Picture.h"
#include "report/StatusLine.h"
#include "report/Utf8.h"
#include "seconds.h"
#include "timeLimits.h"

#include <engine/capture/turnPixels.h>
#include <host/recording/MovieFacts.h>
#include <tamsel/camera/videoOrientation.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/RunLoops.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <iterator>
#include <memory>
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
class DetectCommand final : public SessionClient,
                            public OvriMetadataOutputDelegate,
                            public std::enable_shared_from_this<DetectCommand> {
public:
    DetectCommand(
        const GlobalOptions& global, const DetectionJob& job, Console& console, Environment& environment)
        : SessionClient(global, environment, console),
          job_(job),
          report_(console, environment.platform().clock.monotonic(), job.label)
    {
    }

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
    /// Results from now on belong to the latest frame.
    void beginBatch();
    void finish();
    void saveAnnotated();

    const DetectionJob& job_;
    std::atomic<bool> hasFound_ = false;

    // Of the response queue.
    DetectionReport report_;
    std::uint64_t frames_ = 0;
    std::shared_ptr<const platform::CVBuffer> lastFrame_; ///< where it is to be annotated
    std::shared_ptr<const platform::CVBuffer> foundFrame_;
    Found found_; ///< in that frame
};

/// How the stored frames of a video file are oriented; absent for any other input.
std::optional<AVCaptureVideoOrientation> storedOrientationOf(const std::string& input)
{
    return quarterTurnsOfVideo(input).transform(engine::sensorUprightAfter);
}

/// For the detection that is running when a video ends.
constexpr nanoseconds detectionLimit = 500ms;
/// The first detection loads the face detector; on a busy machine a short video ends before that.
constexpr nanoseconds firstDetectionLimit = 2s;

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
        // A dropped frame does not matter here, unless the camera was lost with it.
        if (!manager.frameCounts().isDeviceLost())
            return;
        std::error_code ignored;
        if (!std::filesystem::is_regular_file(job_.input, ignored))
            console_.fail("the camera was lost");
        else if (frames_ == 0)
            console_.fail(job_.input + ": no frame can be decoded");
    }
    hasFailed_ = true; // or the video has ended
    waiter_.wake();
}

void DetectCommand::sourceManagerDidDetect(OvriSourceManager& /*manager*/, const OvriMetadataFaceObject& face)
{
    const AVMetadataFaceObject& object = *face.face();
    report_.addFace(object.bounds(), object.faceID(), environment_.platform().clock.monotonic());
    beginBatch();
    found_.faces = {face.face()};
}

void DetectCommand::sourceManagerDidDetect(
    OvriSourceManager& /*manager*/, const std::vector<OvriMetadataMachineReadableCodeObject>& codes)
{
    report_.addCodes(codes, environment_.platform().clock.monotonic());
    beginBatch();
    found_.codes = codes;
}

void DetectCommand::beginBatch()
{
    hasFound_ = true;
    waiter_.wake();
    if (foundFrame_ == lastFrame_)
        return; // the codes of a batch follow its face
    foundFrame_ = lastFrame_;
    found_ = {};
}

void DetectCommand::watch()
{
    const Clock& clock = environment_.platform().clock;
    const nanoseconds begin = clock.monotonic();
    const auto facts = host::readMovieFacts(job_.input);
    const double total = job_.seconds.value_or(facts ? facts->duration : 0);
    {
        const StatusLine line(
            console_, environment_.platform().runLoops.current(), [&, progress = Progress("s")] {
                const double elapsed = seconds(clock.monotonic() - begin);
                return total > 0 ? progress.text(std::min(elapsed, total), total)
                                 : formatted("%.0f s", elapsed);
            });
        const nanoseconds length = job_.seconds ? nanosecondsOf(*job_.seconds) : forEver;
        if (!waiter_.waitFor(length, [this] { return hasFailed_.load(); }))
            return;
    }
    const bool hadFound = hasFound_;
    (void)waiter_.waitFor(
        hadFound ? detectionLimit : firstDetectionLimit, [&] { return !hadFound && hasFound_; });
}

void DetectCommand::saveAnnotated()
{
    const CVBuffer* frame = foundFrame_ ? foundFrame_.get() : lastFrame_.get();
    if (!frame) {
        console_.fail("no frame arrived, so there is no picture of one");
        return;
    }
    const CGImagePropertyOrientation orientation = engine::orientationAfter(
        engine::quarterTurns(global_.sensorOrientation.value_or(AVCaptureVideoOrientation::portrait),
            videoOrientation(global_.interfaceOrientation)));
    writeAnnotated(job_, makePicture(*frame, frame->width()), orientation, found_, console_);
}

void DetectCommand::finish()
{
    if (frames_ > 0)
        writeSummary(job_, frames_, report_, console_);
    if (job_.annotated)
        saveAnnotated();
}

bool DetectCommand::run()
{
    const SourceType source = SourceType::cameraBack(false);
    makeManager({source}, global_.sessionPreset());
    manager_->setMetadataDetection(job_.kinds, weak_from_this());
    if (start(source, weak_from_this()))
        watch();
    manager_->stopAllSessions();
    waiter_.runBehind(*responseQueue_, [self = shared_from_this()] { self->finish(); });
    manager_ = nullptr;
    return hasFound_;
}

/// Adds the kinds of codes in a list with commas.
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

/// Detects in one input. Whether something was found.
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
    const auto environment = makeEnvironment(global,
        {.cameras = true,
            .waitsForCamera = true,
            .playsOnce = true,
            .isSilent = true,
            .seconds = job.seconds});
    const auto command = std::make_shared<DetectCommand>(global, job, console, *environment);
    const bool hasFound = command->run();
    wasInterrupted = command->wasInterrupted();
    return hasFound;
}

/// The jobs of all inputs. Their outputs have been checked.
std::vector<DetectionJob> jobsOf(const GlobalOptions& global, const DetectOptions& options)
{
    std::vector<DetectionJob> jobs;
    std::vector<std::string*> outputs;
    const bool isBatch = options.inputs.size() > 1;
    for (const std::string& input : options.inputs) {
        if (input.empty())
            throw Unusable("INPUT needs a value");
        DetectionJob job{.input = input,
            .label = std::nullopt,
            .kinds = options.kinds,
            .annotated = std::nullopt,
            .seconds = options.seconds,
            .orientation = options.orientation};
        if (isBatch)
            job.label = input;
        if (options.annotated) {
            job.annotated = outputOf(input, *options.annotated, ".png", isBatch);
            requirePictureEnding(*job.annotated);
        }
        jobs.push_back(std::move(job));
    }
    for (DetectionJob& job : jobs)
        outputs.push_back(job.annotated ? &*job.annotated : nullptr);
    claimOutputs(outputs, {options.inputs.begin(), options.inputs.end()}, global.overwrites);
    for (DetectionJob& job : jobs) {
        if (job.input == "-" || !options.isInRealTime) // a pipe can be a live stream
            job.input = readableInput(job.input);
    }
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
    const ExitStatus status = forEachInput(console, jobs.size(), [&](std::size_t number) {
        bool wasInterrupted = false;
        hasFound |= detectIn(jobs[number], options, global, console, wasInterrupted);
        return !wasInterrupted;
    });
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
