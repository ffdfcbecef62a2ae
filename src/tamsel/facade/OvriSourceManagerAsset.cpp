// What the manager does about recordings: reading their frames, and single images of them.

#include <tamsel/facade/OvriSourceManager.h>

#include <tamsel/asset/AssetProcessor.h>
#include <tamsel/facade/OvriSourceManagerRelay.h>
#include <tamsel/platform/Diagnostics.h>
#include <tamsel/platform/Platform.h>

#include <utility>

namespace tamsel {

using namespace platform;

namespace {

/// The image of a recording that stands for it.
constexpr CMTime stillTime{.value = 1, .timescale = 60};

} // namespace

void OvriSourceManager::startAssetSession(const std::shared_ptr<AVAsset>& asset)
{
    const std::shared_ptr<AssetProcessor> processor = AssetProcessor::create(platform_);
    setAssetProcessor(processor);
    if (!asset)
        return; // like one that cannot be opened
    const CGAffineTransform transform = videoTrackTransform(*asset);
    processor->process(
        asset,
        [weakSelf = weak_from_this(), transform](const std::shared_ptr<CMSampleBuffer>& sampleBuffer) {
            if (const std::shared_ptr<OvriSourceManager> self = weakSelf.lock())
                self->relay_->didOutputSampleBuffer(sampleBuffer, transform);
        },
        [weakSelf = weak_from_this()] {
            if (const std::shared_ptr<OvriSourceManager> self = weakSelf.lock())
                self->setAssetProcessor(nullptr);
        });
}

std::shared_ptr<AssetProcessor> OvriSourceManager::assetProcessor() const
{
    const std::lock_guard lock(guard_);
    return assetProcessor_;
}

void OvriSourceManager::setAssetProcessor(std::shared_ptr<AssetProcessor> processor)
{
    const std::lock_guard lock(guard_);
    assetProcessor_.swap(processor); // the earlier one goes with the argument, after the lock
}

void OvriSourceManager::captureStillImage(
    OvriImageSource /*source*/, const std::optional<TamselCameraSettings>& /*settings*/)
{
    const std::optional<SourceType> type = activeType();
    const auto* recording = type ? std::get_if<SourceType::Asset>(&type->value()) : nullptr;
    if (recording)
        relay_->didCapturePhoto(stillOf(recording->asset), OvriImageSource::photo);
}

/// A PNG file; empty when there is no image.
std::vector<std::byte> OvriSourceManager::stillOf(const std::shared_ptr<AVAsset>& asset) const
{
    auto image = platform_.assets.makeImageGenerator(asset)->copyCGImage(stillTime);
    if (!image)
        return {};
    return platform_.images.pngRepresentation(UIImage(std::move(*image))).value_or(std::vector<std::byte>{});
}

std::optional<UIImage> OvriSourceManager::provideThumbnailImage(
    const std::filesystem::path& url, Platform& platform)
{
    const std::shared_ptr<AVAsset> asset = platform.assets.assetWithURL(url);
    auto image = platform.assets.makeImageGenerator(asset)->copyCGImage(stillTime);
    if (!image) {
        platform.diagnostics.writeLine(image.error().localizedDescription);
        return std::nullopt;
    }
    return UIImage(std::move(*image));
}

} // namespace tamsel
