#include "CaptureCommand.h"

#include "CapturePage.h"
#include "CodeKinds.h"
#include "Files.h"
#include "JsonLine.h"
#include "Ledger.h"
#include "RecordingFile.h"
#include "Sample.h"
#include "SessionErrors.h"
#include "StatusLine.h"
#include "StillPreparation.h"
#include "SvgPlot.h"
#include "Upright.h"
#include "seconds.h"

#include <engine/capture/turnPixels.h>

#include <tamsel/camera/videoOrientation.h>
#include <tamsel/platform/CMMotionManager.h>
#include <tamsel/platform/RunLoop.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <system_error>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;
using Kind = CaptureCondition::Kind;

namespace {

constexpr nanoseconds cameraLimit = 15s;
constexpr nanoseconds stillLimit = 10s;
/// Encoding what waits, and making room for the index at the front of a large file.
constexpr nanoseconds filmLimit = 10min;
/// The file of a session that has failed comes soon, or there is none.
constexpr nanoseconds failureLimit = 30s;
constexpr nanoseconds drainLimit = 1min;

constexpr const char* stillName = "still.jpg";
constexpr const char* filmName = "film.mp4";
constexpr const char* sheetName = "contact-sheet.png";
constexpr const char* plotName = "verdicts.svg";
constexpr const char* eventsName = "events.jsonl";
constexpr const char* pageName = "index.html";

constexpr std::size_t eventsShown = 2000;

/// As it is written on the command line.
std::string textOf(const CaptureCondition& condition)
{
    switch (condition.kind()) {
    case Kind::still:
        return "still";
    case Kind::tilted:
        return "tilted";
    case Kind::face:
        return "face";
    case Kind::code:
        break;
    }
    const auto kind = nameOf(condition.codeType());
    return kind ? "code:" + std::string(*kind) : "code";
}

std::string joined(const std::vector<CaptureCondition>& conditions)
{
    std::string text;
    for (const CaptureCondition& condition : conditions)
        text += (text.empty() ? "" : ", ") + textOf(condition);
    return text;
}

/// The first lines of a file, and how many more there are.
std::string firstLines(const std::string& file)
{
    std::ifstream stream(file);
    std::string text;
    std::size_t count = 0;
    for (std::string line; std::getline(stream, line); ++count) {
        if (count < eventsShown)
            text += line + "\n";
    }
    if (count > eventsShown)
        text += "and " + std::to_string(count - eventsShown) + " more\n";
    return text;
}

Options forContactSheet(Options options, std::string file)
{
    options.contactSheet = std::move(file);
    options.saveEvery = std::nullopt;
    return options;
}

} // namespace

CaptureCommand::CaptureCommand(const Options& options, Environment& environment)
    : options_(options),
      environment_(environment),
      console_(options.json),
      waiter_(environment),
      responseQueue_(environment.makeQueue("org.tamsel.capture.response")),
      frameTeller_(
          std::make_shared<FrameTeller>(forContactSheet(options, file(sheetName)), environment, console_)),
      motionTeller_(std::make_shared<MotionTeller>(console_, environment.platform().clock, nullptr))
{
}

std::string CaptureCommand::file(const char* name) const
{
    return (std::filesystem::path(options_.capture.folder) / name).string();
}

double CaptureCommand::now() const
{
    return seconds(environment_.platform().clock.monotonic() - start_);
}

void CaptureCommand::sourceManagerDidGetFrame(
    OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& frame)
{
    FrameNotes notes{.findings = history_.findings(now()), .caption = formatted("%.2f s", now())};
    const CGImagePropertyOrientation orientation = engine::orientationAfter(engine::quarterTurns(
        AVCaptureVideoOrientation::portrait, videoOrientation(options_.interfaceOrientation)));
    for (Finding& finding : notes.findings) {
        for (CGPoint& corner : finding.corners)
            corner = uprightPoint(corner, orientation);
    }
    frameTeller_->show(frame, std::move(notes));
    if (!hasFrame_.exchange(true))
        waiter_.wake();
}

void CaptureCommand::sourceManagerDidGetSample(
    OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& sample)
{
    if (keepSample(console_, *sample, file(stillName)))
        still_ = describeSample(*sample);
    hasSample_ = true;
    waiter_.wake();
}

void CaptureCommand::sourceManagerDidGetVideo(
    OvriSourceManager& /*manager*/, const std::filesystem::path& /*url*/)
{
    hasVideo_ = true;
    waiter_.wake();
}

void CaptureCommand::sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error)
{
    if (!tellIfOver(console_, manager, error))
        return;
    hasFailed_ = true;
    waiter_.wake();
}

void CaptureCommand::sourceManagerCameraDidSuspend(OvriSourceManager& /*manager*/)
{
    console_.write(JsonLine("suspend").number("time", now()));
    console_.note("suspended: the application is in the background");
}

void CaptureCommand::sourceManagerCameraDidResume(OvriSourceManager& /*manager*/)
{
    console_.write(JsonLine("resume").number("time", now()));
    console_.note("resumed");
}

void CaptureCommand::sourceManagerDidDetectStability(OvriSourceManager& manager, bool isStable)
{
    motionTeller_->sourceManagerDidDetectStability(manager, isStable);
    gate_->sourceManagerDidDetectStability(manager, isStable);
}

void CaptureCommand::sourceManagerDidDetectFacingAngle(OvriSourceManager& manager, bool isFacing)
{
    motionTeller_->sourceManagerDidDetectFacingAngle(manager, isFacing);
    gate_->sourceManagerDidDetectFacingAngle(manager, isFacing);
}

void CaptureCommand::sourceManagerDidDetect(OvriSourceManager& manager, const OvriMetadataFaceObject& face)
{
    const AVMetadataFaceObject& object = *face.face();
    detectionTeller_->tellFace(object.bounds(), object.faceID(), environment_.platform().clock.monotonic());
    history_.addFace(object.bounds(), now());
    gate_->sourceManagerDidDetect(manager, face);
}

void CaptureCommand::sourceManagerDidDetect(
    OvriSourceManager& manager, const std::vector<OvriMetadataMachineReadableCodeObject>& codes)
{
    detectionTeller_->tellCodes(codes, environment_.platform().clock.monotonic());
    history_.addCodes(codes, now());
    gate_->sourceManagerDidDetect(manager, codes);
}

void CaptureCommand::shoot()
{
    shot_ = now();
    console_.write(JsonLine("opened").number("time", *shot_));
    if (!console_.isJson())
        console_.write(formatted("%10.3f s  all conditions hold: a still is taken", *shot_));
    manager_->captureStillImage(OvriImageSource::photo, settingsFor(options_.still));
    hasOpened_ = true;
    waiter_.wake();
}

bool CaptureCommand::makeFolder()
{
    std::error_code error;
    std::filesystem::create_directories(options_.capture.folder, error);
    if (error) {
        console_.fail("cannot make the folder " + options_.capture.folder + ": " + error.message());
        return false;
    }
    for (const char* name : {stillName, filmName, sheetName, plotName, eventsName, pageName}) {
        if (!makeRoomFor(file(name), options_.capture.overwrites, console_))
            return false;
    }
    return console_.keepEvents(file(eventsName));
}

void CaptureCommand::startSession()
{
    const bool records = options_.capture.records;
    const SourceType camera
        = options_.useFrontCamera ? SourceType::cameraFront(records) : SourceType::cameraBack(records);
    manager_ = OvriSourceManager::create({camera, SourceType::stability(), SourceType::facingAngle()},
        options_.sessionPreset(), responseQueue_, environment_.platform());
    gate_ = CaptureGate::create(
        options_.capture.conditions, responseQueue_,
        [weakSelf = weak_from_this()] {
            if (const std::shared_ptr<CaptureCommand> self = weakSelf.lock())
                self->shoot();
        },
        environment_.platform());
    start_ = environment_.platform().clock.monotonic();
    detectionTeller_.emplace(console_, start_);

    manager_->setMetadataDetection(options_.capture.kinds(), weak_from_this());
    if (const auto started = manager_->startSession(camera, weak_from_this(), {}, view_); !started) {
        console_.fail(started.error());
        hasFailed_ = true;
        return;
    }
    const auto sensors = environment_.platform().motion.makeMotionManager();
    MotionOptions motion = options_.motion;
    motion.stability = sensors->isGyroAvailable();
    motion.facingAngle = sensors->isDeviceMotionAvailable();
    if (options_.capture.waitsFor(Kind::still) && !motion.stability)
        console_.fail("there is no gyroscope, so nobody can say whether the device is held still");
    else if (options_.capture.waitsFor(Kind::tilted) && !motion.facingAngle)
        console_.fail("there is no attitude, so nobody can say whether the device is tilted far enough");
    else if (motion.stability || motion.facingAngle)
        motionTeller_->start(*manager_, shared_from_this(), motion);
    hasFailed_ = hasFailed_ || console_.hasFailed();
}

std::string CaptureCommand::status() const
{
    const std::string wanted = joined(gate_->missing());
    return formatted("%5.1f s  ", now()) + (wanted.empty() ? "taking a still" : "waiting for: " + wanted)
        + std::string(30, ' ');
}

void CaptureCommand::takeOne()
{
    if (!waiter_.waitFor(cameraLimit, [this] { return hasFrame_ || hasFailed_; })) {
        if (!waiter_.isInterrupted())
            console_.fail("the camera delivers no frame");
        return;
    }
    if (hasFailed_)
        return;
    if (options_.capture.records) {
        manager_->startVideoRecording(file(filmName));
        isRecording_ = true;
    }
    turnPreview(*view_, options_.interfaceOrientation);
    waitForLocation(options_, environment_, waiter_, console_);
    if (waiter_.isInterrupted())
        return;
    tellWhatIsMissing(options_, environment_, console_);

    gate_->arm();
    {
        const StatusLine line(
            console_, environment_.platform().runLoops.current(), [this] { return status(); });
        (void)waiter_.waitFor(
            nanosecondsOf(options_.capture.timeout), [this] { return hasOpened_ || hasFailed_; });
    }
    cancel();
    if (hasOpened_ && !hasFailed_
        && !waiter_.waitFor(stillLimit, [this] { return hasSample_ || hasFailed_; }))
        console_.fail("the still did not come");
}

/// On the response queue, so that the gate is either open then or stays closed.
void CaptureCommand::cancel()
{
    waiter_.goOn();
    std::atomic<bool> isCancelled = false;
    responseQueue_->async([self = shared_from_this(), &isCancelled] {
        self->gate_->cancel();
        isCancelled = true;
        self->waiter_.wake();
    });
    while (!waiter_.waitFor(drainLimit, [&] { return isCancelled.load(); }))
        waiter_.goOn();
    if (!hasOpened_)
        lacking_ = joined(gate_->missing());
}

/// The sessions must not be stopped before: nobody would be told of the file.
void CaptureCommand::stopRecording()
{
    if (!isRecording_)
        return;
    if (!hasVideo_ && !hasFailed_)
        manager_->stopVideoRecording();
    waiter_.goOn();
    if (waiter_.waitFor(hasFailed_ ? failureLimit : filmLimit, [this] { return hasVideo_.load(); }))
        film_ = tellRecording(file(filmName), manager_->frameCounts(), environment_, console_);
    else
        console_.fail(file(filmName) + ": the recording was left before it was complete; see repair");
}

void CaptureCommand::stopSessions()
{
    stopRecording();
    manager_->stopAllSessions();
    waiter_.goOn();
    (void)waiter_.waitFor(drainLimit,
        [this] { return manager_->frameCounts().inFlight == 0 && !frameTeller_->hasPicturesUnderWay(); });
    responseQueue_->async([self = shared_from_this()] { // behind everything that has come
        self->isDrained_ = true;
        self->waiter_.wake();
    });
    (void)waiter_.waitFor(drainLimit, [this] { return isDrained_.load(); });
}

void CaptureCommand::tellOutcome()
{
    if (!still_.empty())
        outcome_ = formatted("A still was taken at %.2f s.", *shot_);
    else if (waiter_.isInterrupted())
        outcome_ = formatted("Interrupted after %.1f s, before a still was taken.", now());
    else if (console_.hasFailed())
        outcome_ = "No still was taken: " + console_.firstFailure() + ".";
    else
        outcome_ = formatted("No still was taken within %.4g s. ", options_.capture.timeout)
            + "At the end these were missing: " + lacking_ + ".";
    if (still_.empty() && !waiter_.isInterrupted() && !console_.hasFailed())
        console_.fail(outcome_);
    JsonLine summary("summary");
    summary.boolean("taken", !still_.empty()).number("time", shot_).text("missing", std::string_view(lacking_));
    console_.write(addLedger(summary, manager_->frameCounts()));
}

void CaptureCommand::writeFolder()
{
    const bool hasFrames = frameTeller_->count() > 0;
    const bool hasSheet = hasFrames && frameTeller_->finishPictures();
    CapturePage page{.outcome = outcome_,
        .isGood = !still_.empty(),
        .conditions = {},
        .still = {still_.empty() ? "" : stillName, still_},
        .film = {film_.empty() ? "" : filmName, film_},
        .contactSheet = hasSheet ? sheetName : "",
        .plot = plotName,
        .events = {eventsName, firstLines(file(eventsName))},
        .ledger = ledgerRows(manager_->frameCounts())};
    std::ranges::transform(options_.capture.conditions, std::back_inserter(page.conditions),
        [](const CaptureCondition& condition) { return textOf(condition); });
    const std::string plot = history_.plot(options_, motionTeller_->verdicts(), shot_, end_);
    const std::string html = htmlOf(page);
    for (const auto& [name, text] : {std::pair{plotName, &plot}, std::pair{pageName, &html}}) {
        if (const auto written = writeFile(std::as_bytes(std::span(*text)), file(name)); !written)
            console_.fail(written.error());
    }
    if (!console_.isJson())
        console_.write((still_.empty() ? "What was seen: " : outcome_ + " Look at ") + file(pageName));
}

ExitStatus CaptureCommand::run()
{
    if (!makeFolder())
        return ExitStatus::unusable;
    startSession();
    if (!hasFailed_)
        takeOne();
    end_ = now();
    stopSessions();
    tellOutcome();
    writeFolder();
    manager_ = nullptr;
    return console_.endSession(waiter_.isInterrupted());
}

} // namespace tamsel::capture
