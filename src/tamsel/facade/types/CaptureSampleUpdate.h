#pragma once

#include <tamsel/platform/Geometry.h>
#include <tamsel/platform/core/OvriImage.h>

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace tamsel {

/// One encoded still image.
class CaptureSampleUpdate {
public:
    /// Stores the three values unchanged; an empty sample is accepted.
    CaptureSampleUpdate(std::vector<std::byte> sample, platform::OvriImageSource source,
        platform::CGImagePropertyOrientation exifOrientation)
        : sample_(std::make_shared<const std::vector<std::byte>>(std::move(sample))),
          source_(source),
          exifOrientation_(exifOrientation)
    {
    }
    virtual ~CaptureSampleUpdate() = default;

    /// The encoded image file.
    [[nodiscard]] const std::vector<std::byte>& sample() const { return *sample_; }
    /// The same bytes, for a client that needs them longer than the update.
    [[nodiscard]] const platform::ImageData& sharedSample() const { return sample_; }
    [[nodiscard]] platform::OvriImageSource source() const { return source_; }
    void setSource(platform::OvriImageSource source) { source_ = source; }
    /// The orientation in which to show or convert the image.
    [[nodiscard]] platform::CGImagePropertyOrientation exifOrientation() const { return exifOrientation_; }

    [[nodiscard]] bool isAlbum() const { return source_ == platform::OvriImageSource::album; }
    /// A still or a frame of a camera.
    [[nodiscard]] bool isCamera() const
    {
        return source_ == platform::OvriImageSource::photo || source_ == platform::OvriImageSource::video;
    }

private:
    platform::ImageData sample_;
    platform::OvriImageSource source_;
    platform::CGImagePropertyOrientation exifOrientation_;
};

} // namespace tamsel
