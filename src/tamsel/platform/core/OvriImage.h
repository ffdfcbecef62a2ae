#pragma once

#include <tamsel/platform/CIImage.h>

#include <cstdint>
#include <utility>

namespace tamsel::platform {

/// The origin of an image. The first two are cameras, the third is the photo album.
enum class OvriImageSource : std::int32_t { video = 0, photo = 1, album = 2 };

/// The image class for users of delivered records: a picture that is not rendered yet, and its source.
class OvriImage {
public:
    OvriImage(CIImage ciImage, OvriImageSource source) : ciImage_(std::move(ciImage)), source_(source) { }

    [[nodiscard]] const CIImage& ciImage() const { return ciImage_; }
    [[nodiscard]] OvriImageSource source() const { return source_; }

private:
    CIImage ciImage_;
    OvriImageSource source_;
};

} // namespace tamsel::platform
