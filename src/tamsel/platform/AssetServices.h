#pragma once

#include <tamsel/platform/AVAsset.h>

#include <expected>
#include <filesystem>
#include <memory>

namespace tamsel::platform {

/// Opens recorded videos. Thread-safe.
class AssetServices {
public:
    virtual ~AssetServices() = default;

    /// Does not open the file yet.
    [[nodiscard]] virtual std::shared_ptr<AVAsset> assetWithURL(const std::filesystem::path& url) = 0;
    /// Fails when the asset cannot be opened.
    [[nodiscard]] virtual std::expected<std::shared_ptr<AVAssetReader>, Error> makeAssetReader(
        const std::shared_ptr<AVAsset>& asset)
        = 0;
    /// Add it to a reader of the same asset.
    [[nodiscard]] virtual std::shared_ptr<AVAssetReaderTrackOutput> makeTrackOutput(
        const std::shared_ptr<AVAssetTrack>& track, TrackOutputSettings settings)
        = 0;
    /// Does not open the file yet.
    [[nodiscard]] virtual std::shared_ptr<AVAssetImageGenerator> makeImageGenerator(
        const std::shared_ptr<AVAsset>& asset)
        = 0;
};

} // namespace tamsel::platform
