#include "commands/CaptureCommand.h"

#include "RecordingFile.h"
#include "options/CodeKinds.h"
#include "pictures/SvgPlot.h"
#include "pictures/Upright.h"
#include "prepareStill.h"
#include "report/CapturePage.h"
#include "report/JsonLine.h"
#include "report/Ledger.h"
#include "report/SessionErrors.h"
#include "report/StatusLine.h"
#include "report/keepSample.h"
#include "seconds.h"
#include "timeLimits.h"

#include <engine/capture/turnPixels.h>

#include <tamsel/camera/videoOrientation.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/RunLoops.h>

#include <algorithm>
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
      folder_(options.capture.folder),
      waiter_(environment),
      responseQueue_(environment.makeQueue("org.tamsel.capture.response")),
      motionTeller_(std::make_shared<MotionTeller>(console_, environment.platform().clock, nullptr))
{
}

double CaptureCommand::now() const
{
    return seconds(environment_.platform().clock.monotonic() - start_);
}

void CaptureCommand::sourceManagerDidGetFrame(
    OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& frame)
{
    FrameNotes notes{.findings = history_.findings(now()), .caption = formatted("%.2f s", now())};
    const CGImagePropertyOrientation orientation = engine::orientationAfter(
        engine::quarterTurns(options_.sensorOrientation.value_or(AVCaptureVideoOrientation::portrait),
            videoOrientation(options_.interfaceOrientation)));
    turnUpright(notes.findings, orientation);
    frameTeller_->show(frame, std::move(notes));
    if (!hasFrame_.exchange(true))
        waiter_.wake();
}

void CaptureCommand::sourceManagerDidGetSample(
    OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& sample)
{
    still_ = keepSample(console_, *sample, folder_.placeOf(folder_.still), folder_.targetOf(folder_.still));
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
    hasFrame_ = false;
    hasOpened_ = true;
    waiter_.wake();
}

std::optional<MotionOptions> CaptureCommand::verdicts()
{
    Platform& platform = environment_.platform();
    MotionOptions needed = options_.motion;
    needed.stability = options_.capture.waitsFor(Kind::still);
    needed.facingAngle = options_.capture.waitsFor(Kind::tilted);
    if (options_.capture.needsMotion()) {
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
    const SourceType camera = options_.source();
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

    const std::optional<MotionOptions> motion = verdicts();
    if (!motion) {
        hasFailed_ = true;
        return;
    }
    manager_->setMetadataDetection(options_.capture.kinds(), weak_from_this());
    if (const auto started = manager_->startSession(camera, weak_from_this(), {}, view_); !started) {
        console_.fail(started.error());
        hasFailed_ = true;
        return;
    }
    if (motion->stability || motion->facingAngle)
        motionTeller_->start(*manager_, shared_from_this(), *motion, start_);
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
        manager_->startVideoRecording(folder_.placeOf(folder_.film));
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
    if (!hasOpened_)
        return;
    if (!waiter_.waitFor(stillLimit, [this] { return hasSample_ || hasFailed_; }) && !waiter_.isInterrupted())
        console_.fail("the still did not come");
    // The contact sheet is to show what the gate has seen: that stands in frames that come afterwards.
    (void)waiter_.waitFor(sheetLimit, [this] { return hasFrame_ || hasFailed_; });
}

/// On the response queue, so that the gate is either open then or stays closed.
void CaptureCommand::cancel()
{
    waiter_.runBehind(*responseQueue_, [self = shared_from_this()] {
        self->gate_->cancel();
        if (!self->hasOpened_)
            self->lacking_ = joined(self->gate_->missing());
    });
    waiter_.goOn();
}

/// The sessions must not be stopped before: nobody would be told of the file.
void CaptureCommand::stopRecording()
{
    if (!isRecording_)
        return;
    if (!hasVideo_ && !isCameraLost(manager_->frameCounts()))
        manager_->stopVideoRecording();
    waiter_.goOn();
    if (waiter_.waitFor(hasFailed_ ? failureLimit : filmLimit, [this] { return hasVideo_.load(); }))
        film_ = tellRecording(folder_.placeOf(folder_.film), folder_.targetOf(folder_.film),
            manager_->frameCounts(), environment_, console_);
    else
        console_.fail(
            folder_.placeOf(folder_.film) + ": the recording was left before it was complete; see repair");
}

void CaptureCommand::stopSessions()
{
    stopRecording();
    manager_->stopAllSessions();
    // A camera that has failed does not run, nor does one whose input is still waited for: it is left as it is.
    if (hasFrame_ && !hasFailed_)
        (void)waiter_.waitThrough(stopLimit, [this] { return !manager_->canRecordVideo(); });
    waiter_.runBehind(*responseQueue_, [self = shared_from_this()] {
        self->manager_->setDelegate({});
        self->manager_->setMotionDelegate({});
        self->manager_->setMetadataDelegate({});
    });
    (void)waiter_.waitThrough(drainLimit, [this] { return !frameTeller_->hasPicturesUnderWay(); });
}

void CaptureCommand::tellOutcome()
{
    if (!still_.empty())
        outcome_ = formatted("A still was taken at %.2f s.", *shot_);
    else if (waiter_.isInterrupted())
        outcome_ = formatted("Interrupted after %.1f s, before a still was taken.", end_);
    else if (console_.hasFailed())
        outcome_ = "No still was taken: " + console_.firstFailure() + ".";
    else
        outcome_ = formatted("No still was taken within %.4g s. ", options_.capture.timeout)
            + "At the end these were missing: " + lacking_ + ".";
    if (!still_.empty())
        problem_ = console_.firstFailure();
    else if (!waiter_.isInterrupted() && !console_.hasFailed())
        console_.fail(outcome_);
    else if (!waiter_.isInterrupted())
        console_.note("no still was taken");
    JsonLine summary("summary");
    summary.boolean("taken", !still_.empty())
        .number("time", shot_)
        .text("missing", std::string_view(lacking_));
    console_.write(addLedger(summary, manager_->frameCounts()));
}

void CaptureCommand::writeFolder()
{
    CapturePage page;
    page.outcome = outcome_;
    page.problem = problem_;
    page.isGood = !still_.empty();
    page.conditions = joined(options_.capture.conditions);
    page.still.facts = still_;
    page.film.facts = film_;
    page.hasContactSheet = frameTeller_->count() > 0 && frameTeller_->finishPictures();
    page.ledger = ledgerRows(manager_->frameCounts());
    const std::string plot = history_.plot(options_, motionTeller_->verdicts(), shot_, end_);
    const bool isWhole = !still_.empty() && !console_.hasFailed();
    if (folder_.finish(std::move(page), plot, isWhole, console_) && !console_.isJson())
        console_.write(
            (still_.empty() ? "What was seen: " : outcome_ + " Look at ") + folder_.placeOf(folder_.page));
}

ExitStatus CaptureCommand::run()
{
    if (!folder_.makeRoom(options_, console_) || !console_.keepEvents(folder_.placeOf(folder_.events)))
        return ExitStatus::unusable;
    frameTeller_ = std::make_shared<FrameTeller>(
        forContactSheet(options_, folder_.placeOf(folder_.contactSheet)), environment_, console_);
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
