#include "commands/commands.h"

#include "Environment.h"
#include "Files.h"
#include "Waiter.h"
#include "options/values.h"
#include "prepareStill.h"
#include "report/SessionErrors.h"
#include "report/keepSample.h"
#include "requireCamera.h"
#include "timeLimits.h"

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/CALayer.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

/// Starts a camera, waits until it delivers, takes one still and keeps it.
class StillCommand final : public OvriSourceToSession, public std::enable_shared_from_this<StillCommand> {
public:
    StillCommand(
        const GlobalOptions& global, StillOptions options, std::string file, Environment& environment);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;
    void sourceManagerDidGetSample(
        OvriSourceManager& manager, const std::shared_ptr<CaptureSampleUpdate>& sample) override;
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;

private:
    void takeStill();

    const GlobalOptions& global_;
    const StillOptions options_;
    const std::string file_;
    Environment& environment_;
    Console console_;
    Waiter waiter_;
    const std::shared_ptr<platform::UIView> view_
        = std::make_shared<platform::UIView>(platform::CGSize{640, 480});
    std::shared_ptr<OvriSourceManager> manager_;

    std::atomic<bool> hasFrame_ = false;
    std::atomic<bool> hasSample_ = false;
    std::atomic<bool> hasStillFailed_ = false;
    std::atomic<bool> hasEnded_ = false; ///< with the sample written, or in an error
};

StillCommand::StillCommand(
    const GlobalOptions& global, StillOptions options, std::string file, Environment& environment)
    : global_(global),
      options_(std::move(options)),
      file_(std::move(file)),
      environment_(environment),
      console_(global.json),
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
    keepSample(console_, *sample, file_, file_);
    hasEnded_ = true;
    waiter_.wake();
}

void StillCommand::sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error)
{
    const auto* cameraError = std::get_if<CameraError>(&error);
    if (cameraError && *cameraError == CameraError::captureImageFailed())
        hasStillFailed_ = true; // the reason may follow
    else if (reportIfOver(console_, manager, error))
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
    turnPreview(*view_, global_.interfaceOrientation);
    waitForLocation(options_, environment_, waiter_, console_);
    if (waiter_.isInterrupted() || hasEnded_)
        return;
    reportWhatIsMissing(options_, environment_, console_);
    manager_->captureStillImage(OvriImageSource::photo, settingsFor(options_));
    const bool hasCome
        = waiter_.waitFor(stillLimit, [this] { return hasSample_ || hasStillFailed_ || hasEnded_; });
    if (hasStillFailed_) {
        if (!waiter_.waitFor(lossLimit, hasEnded))
            console_.fail(CameraError::captureImageFailed());
    } else if (hasCome) {
        (void)waiter_.waitFor(forEver, hasEnded); // a pipe takes it when it has a reader
    } else if (!waiter_.isInterrupted()) {
        console_.fail("the still did not come");
    }
}

ExitStatus StillCommand::run()
{
    const SourceType source = cameraSource(options_.usesFrontCamera, false);
    manager_ = OvriSourceManager::create({source}, global_.sessionPreset(),
        environment_.makeQueue("org.tamsel.capture.response"), environment_.platform());
    if (const auto started = manager_->startSession(source, weak_from_this(), {}, view_); !started) {
        console_.fail(started.error());
    } else {
        takeStill();
        manager_->stopAllSessions();
    }
    manager_ = nullptr;
    return console_.endSession(waiter_.isInterrupted());
}

} // namespace

void addStill(Program& program)
{
    struct Options : StillOptions {
        std::string file;
    };
    const auto options = std::make_shared<Options>();
    const auto run = [&global = program.global, options] {
        requireEnding(options->file, {".jpg", ".jpeg"});
        claimOutputs(
            {&options->file}, {global.back.value_or(""), global.front.value_or("")}, global.overwrites);
        requireCamera(global, options->usesFrontCamera);
        const auto environment = makeEnvironment(global,
            {.cameras = true, .usesFrontCamera = options->usesFrontCamera, .location = options->location});
        return std::make_shared<StillCommand>(global, *options, options->file, *environment)->run();
    };
    CLI::App& command = addCommand(
        program, "still", "take one still. Its metadata say where and with what it was taken", run);
    addValue(command, "FILE", options->file, "", "a JPEG file, as photo.jpg", text)->required();
    addStillOptions(command, *options);
}

} // namespace tamsel::capture
