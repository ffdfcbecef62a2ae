#include "commands/StillCommand.h"

#include "prepareStill.h"
#include "report/SessionErrors.h"
#include "report/keepSample.h"
#include "timeLimits.h"

#include <string>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

StillCommand::StillCommand(const Options& options, Environment& environment)
    : options_(options),
      environment_(environment),
      console_(options.json),
      waiter_(environment)
{
}

void StillCommand::sourceManagerDidGetFrame(
    OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& /*frame*/)
{
    if (!hasFrame_.exchange(true))
        waiter_.wake();
}

void StillCommand::sourceManagerDidGetSample(
    OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& sample)
{
    hasSample_ = true;
    keepSample(console_, *sample, options_.outputFile, options_.outputFile);
    hasEnded_ = true;
    waiter_.wake();
}

void StillCommand::sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error)
{
    const auto* cameraError = std::get_if<CameraError>(&error);
    if (cameraError && *cameraError == CameraError::captureImageFailed())
        hasStillFailed_ = true; // the reason may follow
    else if (tellIfOver(console_, manager, error))
        hasEnded_ = true;
    waiter_.wake();
}

void StillCommand::takeStill()
{
    const auto hasEnded = [this] { return hasEnded_.load(); };
    if (!waiter_.waitFor(cameraLimit, [this] { return hasFrame_ || hasEnded_; })) {
        if (!waiter_.isInterrupted())
            console_.fail("the camera delivers no frame");
        return;
    }
    if (hasEnded_)
        return;
    turnPreview(*view_, options_.interfaceOrientation);
    waitForLocation(options_, environment_, waiter_, console_);
    if (waiter_.isInterrupted() || hasEnded_)
        return;
    tellWhatIsMissing(options_, environment_, console_);
    manager_->captureStillImage(OvriImageSource::photo, settingsFor(options_.still));
    const bool hasCome
        = waiter_.waitFor(stillLimit, [this] { return hasSample_ || hasStillFailed_ || hasEnded_; });
    if (hasStillFailed_) {
        if (!waiter_.waitFor(lossLimit, hasEnded))
            console_.fail(CameraError::captureImageFailed());
    } else if (hasCome) {
        (void)waiter_.waitFor(forEver, hasEnded); // a pipe takes it when somebody reads
    } else if (!waiter_.isInterrupted()) {
        console_.fail("the still did not come");
    }
}

ExitStatus StillCommand::run()
{
    const SourceType source = options_.source();
    manager_ = OvriSourceManager::create({source}, options_.sessionPreset(),
        environment_.makeQueue("org.tamsel.capture.response"), environment_.platform());
    if (const auto started = manager_->startSession(source, weak_from_this(), {}, view_); !started) {
        console_.fail(started.error());
    } else {
        takeStill();
        manager_->stopAllSessions();
    }
    manager_ = nullptr;
    if (waiter_.isInterrupted()) {
        console_.fail("interrupted");
        return ExitStatus::interrupted;
    }
    return console_.hasFailed() ? ExitStatus::failed : ExitStatus::done;
}

} // namespace tamsel::capture
