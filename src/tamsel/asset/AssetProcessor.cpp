#include <tamsel/asset/AssetProcessor.h>

#include <tamsel/platform/AssetServices.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/RunLoops.h>

#include <utility>

namespace tamsel {

using namespace platform;
using namespace std::chrono_literals;

namespace {

constexpr auto tickInterval = 100ms;

} // namespace

std::shared_ptr<AssetProcessor> AssetProcessor::create(Platform& platform)
{
    return std::make_shared<AssetProcessor>(Private{}, platform);
}

void AssetProcessor::process(
    const std::shared_ptr<AVAsset>& asset, FrameHandler frameHandler, Completion completion)
{
    const auto opened = platform_.assets.makeAssetReader(asset);
    if (!opened)
        return;
    const std::shared_ptr<AVAssetReader>& reader = *opened;
    const std::vector<std::shared_ptr<AVAssetTrack>> tracks = asset->tracks(AVMediaType::video);
    if (tracks.empty())
        return;
    const std::shared_ptr<AVAssetReaderTrackOutput> output
        = platform_.assets.makeTrackOutput(tracks.front(), {.pixelFormat = kCVPixelFormatType_32BGRA});
    reader->addOutput(output);
    reader->startReading(); // the first tick detects a reader that has not started

    assetReaderTimer_ = platform_.runLoops.current().scheduleTimer(tickInterval, true,
        [reader, output, weakSelf = weak_from_this(), frameHandler = std::move(frameHandler),
            completion = std::move(completion)](Timer& timer) {
            if (reader->status() == AVAssetReaderStatus::reading) {
                if (const std::shared_ptr<CMSampleBuffer> sample = output->copyNextSampleBuffer()) {
                    frameHandler(sample);
                    return;
                }
            }
            timer.invalidate();
            if (const std::shared_ptr<AssetProcessor> self = weakSelf.lock())
                self->assetReaderTimer_ = nullptr;
            completion();
        });
}

CGAffineTransform videoTrackTransform(const AVAsset& asset)
{
    const std::vector<std::shared_ptr<AVAssetTrack>> tracks = asset.tracks(AVMediaType::video);
    return tracks.empty() ? CGAffineTransform{}
                          : CGAffineTransformInvert(tracks.front()->preferredTransform());
}

} // namespace tamsel
