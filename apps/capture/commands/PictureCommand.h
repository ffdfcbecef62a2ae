#pragma once

#include "Environment.h"
#include "options/Options.h"
#include "report/Console.h"

#include <tamsel/platform/CGImageProperties.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace tamsel::capture {

/// Makes one picture of a file: the still or the thumbnail of a recording, a picture rendered upright, or an image of an
/// album as a screen gets it.
class PictureCommand final : public OvriSourceToSession, public std::enable_shared_from_this<PictureCommand> {
public:
    PictureCommand(const Options& options, Environment& environment);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetSample(
        OvriSourceManager& manager, const std::shared_ptr<CaptureSampleUpdate>& sample) override;

private:
    void makeStill();
    void provideAlbumImage();
    void tellWhetherRewritten(std::span<const std::byte> sample);
    void makeThumbnail();
    void renderImage();
    void write(const platform::UIImage& image);

    const Options options_;
    Environment& environment_;
    Console console_;
    std::atomic<bool> hasSample_ = false;
    bool hasFailed_ = false;
    std::vector<std::byte> albumImage_;
    platform::PropertyDictionary albumProperties_;
};

} // namespace tamsel::capture
