#include "commands/CaptureCommand.h"

#include "RecordingFile.h"
#include "pictures/SvgPlot.h"
#include "pictures/Upright.h"
#include "prepareStill.h"
#include "report/CapturePage.h"
#include "report/Ledger.h"
#include "report/StatusLine.h"
#include "report/Utf8.h"
#include "report/keepSample.h"
#include "seconds.h"
#include "timeLimits.h"

#include <engine/capture/turnPixels.h>
#include <tamsel/camera/videoOrientation.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/RunLoops.h>

#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;
using Kind = CaptureCondition::Kind;

namespace {

constexpr nanoseconds sheetLimit = 1s;
constexpr nanoseconds stopLimit = 2s;
constexpr nanoseconds drainLimit = 1min;

} // namespace

CaptureCommand::CaptureCommand(
    const GlobalOptions& global, const CaptureOptions& options, Environment& environment, Console& console)
    : SessionClient(global, environment, console),
      options_(options),
      folder_(options.folder),
      motionReport_(std::make_shared<MotionReport>(console, environment.platform().clock, nullptr))
{
}

double CaptureCommand::now() const
{
    return seconds(environment_.platform().clock.monotonic() - start_);
}

void CaptureCommand::sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame)
{
    FrameNotes notes{.findings = history_.findings(now()), .caption = formatted("%.2f s", now())};
    const CGImagePropertyOrientation orientation = engine::orientationAfter(
        engine::quarterTurns(global_.sensorOrientation.value_or(AVCaptureVideoOrientation::portrait),
            videoOrientation(global_.interfaceOrientation)));
    turnUpright(notes.findings, orientation);
    frameReport_->show(frame, std::move(notes));
    SessionClient::sourceManagerDidGetFrame(manager, frame);
}

void CaptureCommand::sourceManagerDidGetSample(
    OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& sample)
{
    still_ = keepSample(console_, *sample, folder_.placeOf(folder_.still), folder_.targetOf(folder_.still));
    history_.addNote(now(), still_.empty() ? "the still could not be written" : "still received", still_);
    hasSample_ = true;
    waiter_.wake();
}

void CaptureCommand::sourceManagerDidGetVideo(
    OvriSourceManager& /*manager*/, const std::filesystem::path& /*url*/)
{
    history_.addNote(now(), "film complete");
    hasVideo_ = true;
    waiter_.wake();
}

void CaptureCommand::sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error)
{
    SessionClient::sourceManagerDidGetSourceError(manager, error);
    if (hasFailed_)
        history_.addNote(now(), "error: " + console_.firstFailure());
}

void CaptureCommand::sourceManagerCameraDidSuspend(OvriSourceManager& /*manager*/)
{
    console_.writeEvent("suspend", {{"time", numberOf(now())}});
    history_.addNote(now(), "suspended", "The application is in the background.");
    console_.note("suspended: the application is in the background");
}

void CaptureCommand::sourceManagerCameraDidResume(OvriSourceManager& /*manager*/)
{
    console_.writeEvent("resume", {{"time", numberOf(now())}});
    history_.addNote(now(), "resumed");
    console_.note("resumed");
}

void CaptureCommand::sourceManagerDidDetectStability(OvriSourceManager& manager, bool isStable)
{
    motionReport_->sourceManagerDidDetectStability(manager, isStable);
    gate_->sourceManagerDidDetectStability(manager, isStable);
}

void CaptureCommand::sourceManagerDidDetectFacingAngle(OvriSourceManager& manager, bool isFacing)
{
    motionReport_->sourceManagerDidDetectFacingAngle(manager, isFacing);
    gate_->sourceManagerDidDetectFacingAngle(manager, isFacing);
}

void CaptureCommand::sourceManagerDidDetect(OvriSourceManager& manager, const OvriMetadataFaceObject& face)
{
    const AVMetadataFaceObject& object = *face.face();
    detectionReport_->addFace(object.bounds(), object.faceID(), environment_.platform().clock.monotonic());
    history_.addFace(object.bounds(), now());
    gate_->sourceManagerDidDetect(manager, face);
}

void CaptureCommand::sourceManagerDidDetect(
    OvriSourceManager& manager, const std::vector<OvriMetadataMachineReadableCodeObject>& codes)
{
    detectionReport_->addCodes(codes, environment_.platform().clock.monotonic());
    history_.addCodes(codes, now());
    gate_->sourceManagerDidDetect(manager, codes);
}

void CaptureCommand::shoot()
{
    shot_ = now();
    console_.writeEvent("opened", {{"time", numberOf(*shot_)}});
    console_.write(formatted("%10.3f s  all conditions hold: a still is taken", *shot_));
    manager_->captureStillImage(OvriImageSource::photo, settingsFor(options_.still));
    hasFrame_ = false;
    hasOpened_ = true;
    waiter_.wake();
}

std::optional<MotionOptions> CaptureCommand::verdicts()
{
    Platform& platform = environment_.platform();
    MotionOptions needed = options_.motion;
    needed.stability = options_.waitsFor(Kind::still);
    needed.facingAngle = options_.waitsFor(Kind::tilted);
    if (options_.needsMotion()) {
        if (const auto missing = missingFor(needed, platform)) {
            console_.writeError("serviceNotAvailable", missing);
            console_.fail(*missing);
            return std::nullopt;
        }
    }
    return withPossibleVerdicts(std::move(needed), platform);
}

void CaptureCommand::startSession()
{
    const SourceType camera = cameraSource(options_.still.usesFrontCamera, options_.records);
    makeManager({camera, SourceType::stability(), SourceType::facingAngle()}, global_.sessionPreset());
    gate_ = CaptureGate::create(
        options_.conditions, responseQueue_,
        [weakSelf = weak_from_this()] {
            if (const std::shared_ptr<CaptureCommand> self = weakSelf.lock())
                self->shoot();
        },
        environment_.platform());
    start_ = environment_.platform().clock.monotonic();
    detectionReport_.emplace(console_, start_);

    const std::optional<MotionOptions> motion = verdicts();
    if (!motion) {
        hasFailed_ = true;
        return;
    }
    manager_->setMetadataDetection(options_.kinds(), weak_from_this());
    if (!start(camera, weak_from_this()))
        return;
    if (motion->stability || motion->facingAngle)
        motionReport_->start(*manager_, shared_from_this(), *motion, start_);
}

std::string CaptureCommand::status() const
{
    const std::string wanted = joined(gate_->missing());
    return formatted("%.1f of %.4g s  ", now(), options_.timeout)
        + (wanted.empty() ? "taking a still" : "waiting for: " + wanted);
}

void CaptureCommand::takeOne()
{
    if (!waitForFrame(cameraLimit))
        return;
    if (options_.records) {
        manager_->startVideoRecording(folder_.placeOf(folder_.film));
        isRecording_ = true;
    }
    turnPreview(*view_, global_.interfaceOrientation);
    waitForLocation(options_.still, environment_, waiter_, console_);
    if (waiter_.isInterrupted())
        return;
    reportWhatIsMissing(options_.still, environment_, console_);

    gate_->arm();
    {
        const StatusLine line(
            console_, environment_.platform().runLoops.current(), [this] { return status(); });
        (void)waiter_.waitFor(nanosecondsOf(options_.timeout), [this] { return hasOpened_ || hasFailed_; });
    }
    cancel();
    if (!hasOpened_)
        return;
    if (!waiter_.waitFor(stillLimit, [this] { return hasSample_ || hasFailed_; }) && !waiter_.isInterrupted())
        console_.fail("no still arrived in time");
    // So that the contact sheet shows what opened the gate: later frames are drawn with it.
    (void)waiter_.waitFor(sheetLimit, [this] { return hasFrame_ || hasFailed_; });
}

/// On the response queue, so that afterwards the gate is either open or stays closed.
void CaptureCommand::cancel()
{
    waiter_.runBehind(*responseQueue_, [self = shared_from_this()] {
        self->gate_->cancel();
        if (!self->hasOpened_)
            self->lacking_ = joined(self->gate_->missing());
    });
    waiter_.clearInterrupt();
}

/// Before the sessions are stopped: otherwise the file would not be reported.
void CaptureCommand::stopRecording()
{
    if (!isRecording_)
        return;
    if (!hasVideo_ && !manager_->frameCounts().isDeviceLost())
        manager_->stopVideoRecording();
    waiter_.clearInterrupt();
    if (waiter_.waitFor(hasFailed_ ? failureLimit : filmLimit, [this] { return hasVideo_.load(); }))
        film_ = reportRecording(folder_.placeOf(folder_.film), folder_.targetOf(folder_.film),
            manager_->frameCounts(), environment_, console_);
    else
        console_.fail(folder_.placeOf(folder_.film) + ": the recording is not complete; see repair");
}

void CaptureCommand::stopSessions()
{
    stopRecording();
    manager_->stopAllSessions();
    // A camera that has failed, or whose input does not open, does not stop.
    if (hasFrame_ && !hasFailed_)
        (void)waiter_.waitUninterrupted(stopLimit, [this] { return !manager_->canRecordVideo(); });
    waiter_.runBehind(*responseQueue_, [self = shared_from_this()] {
        self->manager_->setDelegate({});
        self->manager_->setMotionDelegate({});
        self->manager_->setMetadataDelegate({});
    });
    (void)waiter_.waitUninterrupted(drainLimit, [this] { return !frameReport_->hasPicturesUnderWay(); });
}

void CaptureCommand::reportOutcome()
{
    if (!still_.empty())
        outcome_ = formatted("A still was taken at %.2f s.", *shot_);
    else if (waiter_.isInterrupted())
        outcome_ = formatted("Interrupted after %.1f s, before a still was taken.", end_);
    else if (console_.hasFailed())
        outcome_ = "No still was taken: " + console_.firstFailure() + ".";
    else
        outcome_ = formatted("No still was taken within %.4g s. ", options_.timeout)
            + "At the end these were missing: " + lacking_ + ".";
    if (!still_.empty())
        problem_ = console_.firstFailure();
    else if (!waiter_.isInterrupted() && !console_.hasFailed()) {
        isMissingOnly_ = true;
        console_.fail(outcome_);
    } else if (!waiter_.isInterrupted())
        console_.note("no still was taken");
    Json summary{{"taken", !still_.empty()}, {"time", numberOf(shot_)}, {"missing", lacking_}};
    summary.update(ledgerJson(manager_->frameCounts()));
    console_.writeEvent("summary", summary);
}

void CaptureCommand::writeFolder()
{
    CapturePage page;
    page.outcome = outcome_;
    page.problem = problem_;
    page.isGood = !still_.empty();
    page.conditions = joined(options_.conditions);
    page.still.facts = still_;
    page.film.facts = film_;
    page.hasContactSheet = frameReport_->count() > 0 && frameReport_->finishPictures();
    page.ledger = ledgerRows(manager_->frameCounts());
    const std::vector<MotionVerdict> verdicts = motionReport_->verdicts();
    page.events = history_.events(verdicts, shot_);
    const auto still = shot_.transform(
        [&](double time) { return SvgPlot::Moment{time, still_.empty() ? "failed still" : "still"}; });
    const std::string plot = history_.plot(options_.motion, options_.conditions, verdicts, still, end_);
    const bool isWhole = !still_.empty() && !console_.hasFailed();
    if (folder_.finish(std::move(page), plot, isWhole, console_))
        console_.write(
            (still_.empty() ? "What was seen: " : outcome_ + " Look at ") + folder_.placeOf(folder_.page));
}

ExitStatus CaptureCommand::run()
{
    folder_.makeRoom(global_.overwrites, console_);
    if (!console_.keepEvents(folder_.placeOf(folder_.events)))
        return ExitStatus::unusable;
    frameReport_ = std::make_shared<FrameReport>(
        FramePictures{.contactSheet = folder_.placeOf(folder_.contactSheet)}, environment_, console_);
    startSession();
    if (!hasFailed_)
        takeOne();
    end_ = now();
    stopSessions();
    reportOutcome();
    writeFolder();
    manager_ = nullptr;
    const ExitStatus status = console_.endSession(waiter_.isInterrupted());
    return status == ExitStatus::failed && isMissingOnly_ && options_.failsIfNone ? ExitStatus::nothingFound
                                                                                  : status;
}

} // namespace tamsel::capture
