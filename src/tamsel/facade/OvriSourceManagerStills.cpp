// The manager's single images: stills of its source, album images, thumbnails.

#include <tamsel/camera/Camera.h>
#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/facade/OvriSourceManagerRelay.h>
#include <tamsel/facade/tellDelegate.h>
#include <tamsel/photo/OvriLocationMetadataDelegate.h>
#include <tamsel/platform/AVAsset.h>
#include <tamsel/platform/AssetServices.h>
#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/ImageServices.h>
#include <tamsel/platform/Platform.h>

#include <utility>

namespace tamsel {

using namespace platform;

namespace {

/// The time of the thumbnail and of a still of an asset.
constexpr CMTime stillTime{.value = 1, .timescale = 60};

} // namespace

void OvriSourceManager::captureStillImage(
    OvriImageSource source, const std::optional<TamselCameraSettings>& settings)
{
    if (SessionObserver* observer = platform_.observer)
        observer->clientCapturesStill(*this, source, settings);
    const std::optional<SourceType> type = activeType();
    if (const auto* recording = type ? std::get_if<SourceType::Asset>(&type->value()) : nullptr)
        relay_->didCapturePhoto(stillOf(recording->asset), OvriImageSource::photo);
    else if (const std::shared_ptr<Camera> running = camera())
        running->captureStillImage(source, settings);
}

/// A PNG file; empty when there is no image.
std::vector<std::byte> OvriSourceManager::stillOf(const std::shared_ptr<AVAsset>& asset) const
{
    auto image = platform_.assets.makeImageGenerator(asset)->copyCGImage(stillTime);
    if (!image)
        return {};
    return platform_.images.pngRepresentation(UIImage(std::move(*image))).value_or(std::vector<std::byte>{});
}

void OvriSourceManager::provide(
    std::span<const std::byte> image, const PropertyDictionary& exif, CGImagePropertyOrientation orientation)
{
    if (SessionObserver* observer = platform_.observer)
        observer->clientProvides(*this, image.size(), orientation);
    responseQueue_->async(whileAlive(
        weak_from_this(), [bytes = albumImage(image, exif), orientation](OvriSourceManager& self) mutable {
            const auto sample = std::make_shared<CaptureSampleUpdate>(
                std::move(bytes), OvriImageSource::album, orientation);
            if (const std::shared_ptr<OvriSourceToSession> delegate = self.delegate())
                tell(self.platform_, *delegate,
                    [&](OvriSourceToSession& receiver) { receiver.sourceManagerDidGetSample(self, sample); });
        }));
}

/// The image with rewritten metadata; unchanged when that is not possible.
std::vector<std::byte> OvriSourceManager::albumImage(
    std::span<const std::byte> image, const PropertyDictionary& exif) const
{
    const PropertyDictionary properties = OvriLocationMetadataDelegate::addingTIFFMetadata(
        exif, OvriLocationMetadataDelegate::CameraModel::album, platform_);
    const std::shared_ptr<const CGImageSource> source = platform_.images.makeImageSource(image);
    if (source && source->type()) {
        if (auto rewritten = source->rewritten(properties))
            return std::move(*rewritten);
    }
    return {image.begin(), image.end()};
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
