#include "commands/commands.h"

#include "Environment.h"
#include "Files.h"
#include "SessionClient.h"
#include "options/values.h"
#include "prepareStill.h"
#include "report/keepSample.h"
#include "timeLimits.h"

#include <atomic>
#include <memory>
#include <string>

namespace tamsel::capture {

using namespace platform;

namespace {

/// Takes one still as soon as the camera delivers frames, and writes it.
class StillCommand final : public SessionClient, public std::enable_shared_from_this<StillCommand> {
public:
    StillCommand(const GlobalOptions& global, const StillOptions& options, const std::string& file,
        Environment& environment, Console& console)
        : SessionClient(global, environment, console),
          options_(options),
          file_(file)
    {
    }

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetSample(
        OvriSourceManager& manager, const std::shared_ptr<CaptureSampleUpdate>& sample) override;
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;

private:
    void takeStill();

    const StillOptions& options_;
    const std::string& file_;

    std::atomic<bool> hasSample_ = false;
    std::atomic<bool> hasStillFailed_ = false;
    std::atomic<bool> hasEnded_ = false; ///< the sample is written
};

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
    if (!cameraError || *cameraError != CameraError::captureImageFailed())
        return SessionClient::sourceManagerDidGetSourceError(manager, error);
    hasStillFailed_ = true; // the reason may follow
    waiter_.wake();
}

void StillCommand::takeStill()
{
    if (!waitForFrame(cameraLimit))
        return;
    turnPreview(*view_, global_.interfaceOrientation);
    waitForLocation(options_, environment_, waiter_, console_);
    if (waiter_.isInterrupted() || hasFailed_)
        return;
    reportWhatIsMissing(options_, environment_, console_);
    manager_->captureStillImage(OvriImageSource::photo, settingsFor(options_));
    const auto hasEnded = [this] { return hasEnded_ || hasFailed_; };
    const bool hasCome
        = waiter_.waitFor(stillLimit, [&] { return hasSample_ || hasStillFailed_ || hasEnded(); });
    if (hasStillFailed_) {
        if (!waiter_.waitFor(lossLimit, hasEnded))
            console_.fail(CameraError::captureImageFailed());
    } else if (hasCome) {
        (void)waiter_.waitFor(forEver, hasEnded); // a pipe may have no reader yet
    } else if (!waiter_.isInterrupted()) {
        console_.fail("no still arrived in time");
    }
}

ExitStatus StillCommand::run()
{
    const SourceType source = cameraSource(options_.usesFrontCamera, false);
    makeManager({source}, global_.sessionPreset());
    if (start(source, weak_from_this())) {
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
        claimOutputs({&options->file}, {global.back, global.front}, global.overwrites);
        const auto environment = makeEnvironment(global,
            {.cameras = true,
                .withoutCamera = WithoutCamera::refuse,
                .waitsForCamera = true,
                .usesFrontCamera = options->usesFrontCamera,
                .location = options->location});
        Console console(global.json);
        return std::make_shared<StillCommand>(global, *options, options->file, *environment, console)->run();
    };
    CLI::App& command = addCommand(
        program, "still", "take one still. Its metadata say where and with what it was taken", run);
    addValue(command, "FILE", options->file, "", "a JPEG file, as photo.jpg", text)->required();
    addStillOptions(command, *options);
}

} // namespace tamsel::capture
