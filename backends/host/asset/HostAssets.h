#pragma once

#include <tamsel/platform/AVAsset.h>
#include <tamsel/platform/AssetServices.h>

namespace tamsel::host {

/// Videos in files, read through the FFmpeg libraries.
class HostAssets final : public platform::AssetServices {
public:
    [[nodiscard]] std::shared_ptr<platform::AVAsset> assetWithURL(const std::filesystem::path& url) override;
    [[nodiscard]] std::expected<std::shared_ptr<platform::AVAssetReader>, platform::Error> makeAssetReader(
        const std::shared_ptr<platform::AVAsset>& asset) override;
    [[nodiscard]] std::shared_ptr<platform::AVAssetReaderTrackOutput> makeTrackOutput(
        const std::shared_ptr<platform::AVAssetTrack>& track,
        platform::TrackOutputSettings settings) override;
    [[nodiscard]] std::shared_ptr<platform::AVAssetImageGenerator> makeImageGenerator(
        const std::shared_ptr<platform::AVAsset>& asset) override;
};

} // namespace tamsel::host
