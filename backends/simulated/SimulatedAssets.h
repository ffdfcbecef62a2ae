#pragma once

#include <tamsel/platform/AVAsset.h>
#include <tamsel/platform/AssetServices.h>

#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>

namespace tamsel::simulated {

/// The content and the faults of a simulated asset.
struct AssetScript {
    std::size_t frames = 10;
    std::size_t width = 64;
    std::size_t height = 48;
    double framesPerSecond = 30;
    platform::CGAffineTransform preferredTransform = {};
    bool hasVideoTrack = true;
    bool canBeOpened = true; ///< otherwise no reader can be made
    bool canStart = true; ///< otherwise a reader fails when it is started
    std::optional<std::size_t> failsAt = std::nullopt; ///< the frame that cannot be read
};

/// Assets with scripted content. Their pixels encode their origin, like a simulated camera's.
class SimulatedAssets final : public platform::AssetServices {
public:
    [[nodiscard]] static std::shared_ptr<platform::AVAsset> makeAsset(AssetScript script);

    /// From now on the file has this content; a file without a script cannot be opened.
    void put(const std::filesystem::path& url, AssetScript script) { files_[url] = script; }

    [[nodiscard]] std::shared_ptr<platform::AVAsset> assetWithURL(const std::filesystem::path& url) override;
    [[nodiscard]] std::expected<std::shared_ptr<platform::AVAssetReader>, platform::Error> makeAssetReader(
        const std::shared_ptr<platform::AVAsset>& asset) override;
    [[nodiscard]] std::shared_ptr<platform::AVAssetReaderTrackOutput> makeTrackOutput(
        const std::shared_ptr<platform::AVAssetTrack>& track,
        platform::TrackOutputSettings settings) override;
    [[nodiscard]] std::shared_ptr<platform::AVAssetImageGenerator> makeImageGenerator(
        const std::shared_ptr<platform::AVAsset>& asset) override;

private:
    std::map<std::filesystem::path, AssetScript> files_;
};

} // namespace tamsel::simulated
