#pragma once

#include <cstdint>

namespace tamsel::platform {

/// Where an image came from. The first two are cameras, the third is the photo album.
enum class OvriImageSource : std::int32_t { video = 0, photo = 1, album = 2 };

/// The image class of the flows that work on delivered records. No operation of this library makes one yet.
class OvriImage;

} // namespace tamsel::platform
