#include <simulated/SimulatedAssets.h>

#include <simulated/showPlaces.h>

#include <algorithm>
#include <utility>

namespace tamsel::simulated {

using namespace platform;

namespace {

Error cannotBeOpened()
{
    return {.localizedDescription = "the simulated recording cannot be opened"};
}

class Track final : public AVAssetTrack {
public:
    explicit Track(const AssetScript& given) : script(given) { }
    [[nodiscard]] CGAffineTransform preferredTransform() const override { return script.preferredTransform; }

    const AssetScript script;
};

class Asset final : public AVAsset {
public:
    explicit Asset(const AssetScript& given) : script(given) { }
    [[nodiscard]] std::vector<std::shared_ptr<AVAssetTrack>> tracks(AVMediaType mediaType) const override
    {
        if (mediaType != AVMediaType::video || !script.hasVideoTrack)
            return {};
        return {std::make_shared<Track>(script)};
    }

    const AssetScript script;
};

const AssetScript* scriptOf(const std::shared_ptr<AVAsset>& asset)
{
    const auto* simulated = dynamic_cast<const Asset*>(asset.get());
    return simulated && simulated->script.canBeOpened ? &simulated->script : nullptr;
}

std::shared_ptr<CVPixelBuffer> frameOf(const AssetScript& script, std::size_t number)
{
    auto buffer = std::make_shared<CVPixelBuffer>(script.width, script.height);
    showPlaces(*buffer, number);
    const auto timescale = static_cast<std::int32_t>(1000 * script.framesPerSecond);
    buffer->setTiming(FrameTiming{.captureTime = {},
        .mediaTime = {.value = static_cast<std::int64_t>(number) * 1000, .timescale = timescale},
        .sequence = number});
    return buffer;
}

/// Shared by a reader and its output.
struct Reading {
    AVAssetReaderStatus status = AVAssetReaderStatus::unknown;
    std::size_t next = 0;
};

class Output final : public AVAssetReaderTrackOutput {
public:
    explicit Output(const AssetScript& given) : script_(given) { }

    [[nodiscard]] std::shared_ptr<CMSampleBuffer> copyNextSampleBuffer() override
    {
        if (!reading || reading->status != AVAssetReaderStatus::reading)
            return nullptr;
        if (reading->next == script_.failsAt)
            reading->status = AVAssetReaderStatus::failed;
        else if (reading->next >= script_.frames)
            reading->status = AVAssetReaderStatus::completed;
        else
            return std::make_shared<CMSampleBuffer>(frameOf(script_, reading->next++));
        return nullptr;
    }

    std::shared_ptr<Reading> reading;

private:
    const AssetScript script_;
};

class Reader final : public AVAssetReader {
public:
    explicit Reader(bool canStart) : canStart_(canStart) { }

    void addOutput(std::shared_ptr<AVAssetReaderTrackOutput> output) override
    {
        if (auto* simulated = dynamic_cast<Output*>(output.get()))
            simulated->reading = reading_;
        outputs_.push_back(std::move(output));
    }
    bool startReading() override
    {
        reading_->status = canStart_ ? AVAssetReaderStatus::reading : AVAssetReaderStatus::failed;
        return canStart_;
    }
    [[nodiscard]] AVAssetReaderStatus status() const override { return reading_->status; }

private:
    const bool canStart_;
    const std::shared_ptr<Reading> reading_ = std::make_shared<Reading>();
    std::vector<std::shared_ptr<AVAssetReaderTrackOutput>> outputs_;
};

class Generator final : public AVAssetImageGenerator {
public:
    explicit Generator(const std::shared_ptr<AVAsset>& asset) : asset_(asset) { }

    [[nodiscard]] std::expected<std::shared_ptr<CGImage>, Error> copyCGImage(CMTime time) override
    {
        const AssetScript* script = scriptOf(asset_);
        if (!script || !script->hasVideoTrack || !script->canStart || script->frames == 0)
            return std::unexpected(cannotBeOpened());
        const auto shown = static_cast<std::size_t>(std::max(0.0, time.seconds() * script->framesPerSecond));
        const std::size_t frame = std::min(shown, script->frames - 1);
        if (script->failsAt && frame >= *script->failsAt)
            return std::unexpected(cannotBeOpened());
        return frameOf(*script, frame);
    }

private:
    const std::shared_ptr<AVAsset> asset_;
};

} // namespace

std::shared_ptr<AVAsset> SimulatedAssets::makeAsset(AssetScript script)
{
    return std::make_shared<Asset>(script);
}

std::shared_ptr<AVAsset> SimulatedAssets::assetWithURL(const std::filesystem::path& url)
{
    const auto found = files_.find(url);
    return makeAsset(
        found == files_.end() ? AssetScript{.hasVideoTrack = false, .canBeOpened = false} : found->second);
}

std::expected<std::shared_ptr<AVAssetReader>, Error> SimulatedAssets::makeAssetReader(
    const std::shared_ptr<AVAsset>& asset)
{
    const AssetScript* script = scriptOf(asset);
    if (!script)
        return std::unexpected(cannotBeOpened());
    return std::make_shared<Reader>(script->canStart);
}

std::shared_ptr<AVAssetReaderTrackOutput> SimulatedAssets::makeTrackOutput(
    const std::shared_ptr<AVAssetTrack>& track, TrackOutputSettings /*settings*/)
{
    return std::make_shared<Output>(dynamic_cast<const Track&>(*track).script);
}

std::shared_ptr<AVAssetImageGenerator> SimulatedAssets::makeImageGenerator(
    const std::shared_ptr<AVAsset>& asset)
{
    return std::make_shared<Generator>(asset);
}

} // namespace tamsel::simulated
