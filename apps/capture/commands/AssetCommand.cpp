#include "commands/AssetCommand.h"

#include "report/JsonLine.h"
#include "report/StatusLine.h"

#include <tamsel/platform/AVAsset.h>
#include <tamsel/platform/AssetServices.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/RunLoops.h>

#include <cstdio>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;

AssetCommand::AssetCommand(const Options& options, Environment& environment)
    : options_(options),
      environment_(environment),
      console_(options.json),
      frameTeller_(std::make_shared<FrameTeller>(options, environment, console_))
{
}

void AssetCommand::sourceManagerDidGetFrame(
    OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& frame)
{
    frameTeller_->tell(frame);
}

std::shared_ptr<AVAsset> AssetCommand::openAsset()
{
    AssetServices& assets = environment_.platform().assets;
    std::shared_ptr<AVAsset> asset = assets.assetWithURL(options_.file);
    if (!asset->tracks(AVMediaType::video).empty())
        return asset;
    const auto reader = assets.makeAssetReader(asset);
    console_.fail(reader ? options_.file + ": there is no video in it" : reader.error().localizedDescription);
    return nullptr;
}

void AssetCommand::tellEnd()
{
    const std::uint64_t count = frameTeller_->count();
    if (console_.isJson()) {
        console_.write(JsonLine("completed").integer("frames", count).string());
    } else if (const auto frames = frameTeller_->summary()) {
        std::printf("%llu frames, %zu x %zu pixels\n", static_cast<unsigned long long>(count), frames->width,
            frames->height);
        std::fflush(stdout);
    }
    if (count == 0)
        console_.fail(options_.file + ": no frame of it can be decoded");
}

ExitStatus AssetCommand::run()
{
    const std::shared_ptr<AVAsset> asset = openAsset();
    if (!asset || !frameTeller_->prepare())
        return ExitStatus::failed;
    const SourceType source = SourceType::asset(asset);
    const std::shared_ptr<DispatchQueue> responseQueue
        = environment_.makeQueue("org.tamsel.capture.response");
    auto manager = OvriSourceManager::create(
        {source}, options_.sessionPreset(), responseQueue, environment_.platform());
    (void)manager->startSession(source, weak_from_this(), {}, nullptr); // fails for cameras only

    bool isInterrupted = false;
    const auto onInterrupt = [&] { isInterrupted = true; };
    RunLoop& loop = environment_.platform().runLoops.current();
    {
        const StatusLine line(
            console_, loop, [this] { return std::to_string(frameTeller_->count()) + " frames"; });
        environment_.runUntil([&] { return !manager->assetProcessor() || isInterrupted; }, onInterrupt);
    }
    // What waits on the response queue comes before this.
    std::atomic<bool> isDelivered = false;
    responseQueue->async([&, mainQueue = environment_.platform().dispatch.mainQueue()] {
        isDelivered = true;
        mainQueue->async([] { }); // wakes the main loop
    });
    const std::shared_ptr<Timer> tick = loop.scheduleTimer(5ms, true, [](Timer&) { });
    environment_.runUntil([&] { return isDelivered && !frameTeller_->hasPicturesUnderWay(); }, onInterrupt);
    tick->invalidate();
    manager = nullptr;
    if (isInterrupted) {
        console_.fail("interrupted");
        return ExitStatus::interrupted;
    }
    tellEnd();
    frameTeller_->finishPictures();
    return console_.hasFailed() ? ExitStatus::failed : ExitStatus::done;
}

} // namespace tamsel::capture
