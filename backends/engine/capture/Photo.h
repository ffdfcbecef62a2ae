#pragma once

#include <engine/capture/PhotoEncoder.h>

#include <tamsel/platform/AVCapturePhotoOutput.h>

#include <memory>
#include <string>
#include <utility>

namespace tamsel::engine {

/// The facts of a still.
struct PhotoFacts {
    double takenAt = 0; ///< seconds since 1970-01-01 00:00 UTC
    int secondsFromUTC = 0; ///< of the local time at that moment
    int quarterTurns = 0; ///< clockwise, that make the stored pixels upright
    std::size_t width = 0; ///< as stored
    std::size_t height = 0;
    bool hasFlash = false;
    platform::AVCaptureFlashMode flashMode = platform::AVCaptureFlashMode::off;
    std::string model; ///< of the device
    std::string systemVersion;
};

/// The facts in the layout of image properties, with the tags of EXIF 2.32 (CIPA DC-008): local times with their offset
/// from UTC, the orientation as a tag.
[[nodiscard]] platform::PropertyDictionary photoMetadata(const PhotoFacts& facts);

/// A still: the pixels of one frame.
class Photo final : public platform::AVCapturePhoto {
public:
    Photo(std::shared_ptr<const platform::CVPixelBuffer> pixels, platform::PropertyDictionary metadata,
        PhotoEncoder& encoder)
        : pixels_(std::move(pixels)),
          metadata_(std::move(metadata)),
          encoder_(encoder)
    {
    }

    [[nodiscard]] const platform::PropertyDictionary& metadata() const override { return metadata_; }
    [[nodiscard]] std::optional<std::vector<std::byte>> fileDataRepresentation() const override
    {
        return encoder_.encodePhoto(*pixels_, metadata_);
    }
    [[nodiscard]] std::optional<std::vector<std::byte>> fileDataRepresentation(
        platform::AVCapturePhotoFileDataRepresentationCustomizer& customizer) const override
    {
        return encoder_.encodePhoto(*pixels_, customizer.replacementMetadataForPhoto(*this));
    }

private:
    const std::shared_ptr<const platform::CVPixelBuffer> pixels_;
    const platform::PropertyDictionary metadata_;
    PhotoEncoder& encoder_;
};

} // namespace tamsel::engine
