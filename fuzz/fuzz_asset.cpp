// Any bytes as a video: its tracks and their transform, every frame of a read, and the still.

#include <host/asset/HostAssets.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

using namespace tamsel::platform;

namespace {

constexpr int mostFrames = 30;

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void read(tamsel::host::HostAssets& assets, const std::shared_ptr<AVAsset>& asset)
{
    const auto tracks = asset->tracks(AVMediaType::video);
    if (tracks.empty())
        return;
    const CGAffineTransform inverse = CGAffineTransformInvert(tracks.front()->preferredTransform());
    for (const double number : {inverse.a, inverse.b, inverse.c, inverse.d, inverse.tx, inverse.ty})
        require(std::isfinite(number));
    const auto reader = assets.makeAssetReader(asset);
    require(reader.has_value()); // a file with tracks can be read
    const auto output = assets.makeTrackOutput(tracks.front(), {});
    (*reader)->addOutput(output);
    const bool isStarted = (*reader)->startReading();
    require(isStarted == ((*reader)->status() == AVAssetReaderStatus::reading));
    for (int frames = 0; frames < mostFrames; ++frames) {
        const auto sample = output->copyNextSampleBuffer();
        require((sample != nullptr) == ((*reader)->status() == AVAssetReaderStatus::reading));
        if (!sample)
            return;
        require(sample->imageBuffer()->width() > 0 && sample->imageBuffer()->height() > 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const int file = memfd_create("recording", MFD_CLOEXEC);
    if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) {
        close(file);
        return 0;
    }
    tamsel::host::HostAssets assets;
    const std::shared_ptr<AVAsset> asset = assets.assetWithURL("/proc/self/fd/" + std::to_string(file));
    read(assets, asset);
    const auto image = assets.makeImageGenerator(asset)->copyCGImage({.value = 1, .timescale = 60});
    require(image.has_value() || !image.error().localizedDescription.empty());
    close(file);
    return 0;
}
