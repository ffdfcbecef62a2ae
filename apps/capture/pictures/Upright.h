#pragma once

#include "pictures/Annotation.h"
#include "pictures/Picture.h"

#include <tamsel/platform/Geometry.h>

#include <span>

namespace tamsel::capture {

/// The quarter turns, clockwise, that bring a picture upright, be it mirrored then or not: 0 to 3.
[[nodiscard]] int quarterTurnsOf(platform::CGImagePropertyOrientation orientation);

/// Where a point of a stored picture is in the upright one; both relative to their picture, 0 to 1.
[[nodiscard]] platform::CGPoint uprightPoint(
    platform::CGPoint stored, platform::CGImagePropertyOrientation orientation);

/// Places what was found in a stored picture in the upright one.
void turnUpright(std::span<Finding> findings, platform::CGImagePropertyOrientation orientation);

[[nodiscard]] Picture uprightPicture(const Picture& stored, platform::CGImagePropertyOrientation orientation);

} // namespace tamsel::capture
