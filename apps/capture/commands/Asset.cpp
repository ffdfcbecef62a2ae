#include "commands/commands.h"

#include "Environment.h"
#include "Files.h"
#include "options/Unusable.h"
#include "options/values.h"
#include "report/FrameReport.h"
#include "report/StatusLine.h"
#include "report/Utf8.h"

#include <host/recording/MovieFacts.h>

#include <tamsel/platform/AVAsset.h>
#include <tamsel/platform/AssetServices.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/RunLoops.h>

#include <memory>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

struct AssetOptions {
    std::string file;
    bool isFast = false;
    FramePictures pictures;
};

/// Reads a video as a capture screen does, and reports its frames.
class AssetCommand final : public OvriSourceToSession, public std::enable_shared_from_this<AssetCommand> {
public:
    AssetCommand(const GlobalOptions& global, const AssetOptions& options, Environment& environment);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;

private:
    /// Throws `Unusable` when the file contains no readable video.
    [[nodiscard]] std::shared_ptr<platform::AVAsset> openAsset();
    void reportEnd();

    const GlobalOptions& global_;
    const std::string file_;
    Environment& environment_;
    Console console_;
    const std::shared_ptr<FrameReport> frameReport_;
};

AssetCommand::AssetCommand(const GlobalOptions& global, const AssetOptions& options, Environment& environment)
    : global_(global),
      file_(options.file),
      environment_(environment),
      console_(global.json),
      frameReport_(std::make_shared<FrameReport>(options.pictures, environment, console_))
{
}

void AssetCommand::sourceManagerDidGetFrame(
    OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& frame)
{
    frameReport_->add(frame);
}

std::shared_ptr<AVAsset> AssetCommand::openAsset()
{
    AssetServices& assets = environment_.platform().assets;
    std::shared_ptr<AVAsset> asset = assets.assetWithURL(file_);
    if (!asset->tracks(AVMediaType::video).empty())
        return asset;
    const auto reader = assets.makeAssetReader(asset);
    throw Unusable(reader ? file_ + " contains no video" : reader.error().localizedDescription);
}

void AssetCommand::reportEnd()
{
    const std::uint64_t count = frameReport_->count();
    if (console_.isJson()) {
        console_.writeEvent("completed", {{"frames", count}});
    } else if (const auto frames = frameReport_->summary()) {
        console_.write(formatted("%llu frames, %zu x %zu pixels", static_cast<unsigned long long>(count),
            frames->width, frames->height));
    }
    if (count == 0)
        throw Unusable(file_ + ": no frame can be decoded");
}

ExitStatus AssetCommand::run()
{
    const std::shared_ptr<AVAsset> asset = openAsset();
    const SourceType source = SourceType::asset(asset);
    const std::shared_ptr<DispatchQueue> responseQueue
        = environment_.makeQueue("org.tamsel.capture.response");
    auto manager = OvriSourceManager::create(
        {source}, global_.sessionPreset(), responseQueue, environment_.platform());
    (void)manager->startSession(source, weak_from_this(), {}, nullptr); // fails for cameras only

    bool isInterrupted = false;
    const auto onInterrupt = [&] { isInterrupted = true; };
    RunLoop& loop = environment_.platform().runLoops.current();
    const double duration = host::readMovieFacts(file_).value_or(host::MovieFacts{}).duration;
    {
        const StatusLine line(console_, loop, [&, progress = Progress("s")] {
            const auto frames = frameReport_->summary();
            return progress.text(frames ? frames->mediaTime : 0, duration);
        });
        environment_.runUntil([&] { return !manager->assetProcessor() || isInterrupted; }, onInterrupt);
    }
    // Runs after everything on the response queue.
    std::atomic<bool> isDelivered = false;
    responseQueue->async([&, mainQueue = environment_.platform().dispatch.mainQueue()] {
        isDelivered = true;
        mainQueue->async([] { }); // wakes the main loop
    });
    const std::shared_ptr<Timer> tick = loop.scheduleTimer(5ms, true, [](Timer&) { });
    environment_.runUntil([&] { return isDelivered && !frameReport_->hasPicturesUnderWay(); }, onInterrupt);
    tick->invalidate();
    manager = nullptr;
    if (!isInterrupted) {
        reportEnd();
        (void)frameReport_->finishPictures();
    }
    return console_.endSession(isInterrupted);
}

} // namespace

void addAsset(Program& program)
{
    const auto options = std::make_shared<AssetOptions>();
    const auto run = [&global = program.global, options] {
        global.requireHost("has no files: asset goes with --backend host");
        claimFramePictures(options->pictures, {options->file}, global);
        options->file = readableInput(options->file);
        const auto environment = makeEnvironment(global, {.isOnVirtualTime = options->isFast});
        return std::make_shared<AssetCommand>(global, *options, *environment)->run();
    };
    CLI::App& command = addCommand(program, "asset",
        "read a video file as a screen does. It gets ten frames a second, whatever the file's own rate", run);
    addValue(command, "FILE", options->file, "", "a video file", text)->required();
    command.add_flag("--fast", options->isFast, "do not wait between the frames");
    addFramePictures(command, options->pictures);
}

} // namespace tamsel::capture
