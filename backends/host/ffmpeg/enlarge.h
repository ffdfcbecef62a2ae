#pragma once

#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Geometry.h>

namespace tamsel::host {

/// Fills a buffer with a part of another one, which is given in pixels, by bilinear interpolation.
void enlarge(const platform::CVPixelBuffer& source, platform::CGRect part, platform::CVPixelBuffer& target);

} // namespace tamsel::host
