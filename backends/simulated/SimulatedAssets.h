#pragma once

#include <tamsel/platform/AVAsset.h>
#include <tamsel/platform/AssetServices.h>

#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>

namespace tamsel::simulated {

/// What a simulated recording holds, and what is wrong with it.
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

/// Recordings that hold what a test says. Their frames show where each pixel came from, as a simulated camera's do.
class SimulatedAssets final : public platform::AssetServices {
public:
    [[nodiscard]] static std::shared_ptr<platform::AVAsset> makeAsset(AssetScript script);

    /// From now on the file holds this; a file that nobody has put here cannot be opened.
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
