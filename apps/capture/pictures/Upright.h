#pragma once

#include "pictures/Annotation.h"
#include "pictures/Picture.h"

#include <tamsel/platform/Geometry.h>

#include <span>

namespace tamsel::capture {

/// The clockwise quarter turns, 0 to 3, that make a picture upright, apart from mirroring.
[[nodiscard]] int quarterTurnsOf(platform::CGImagePropertyOrientation orientation);

/// The position in the upright picture of a point in the stored one; both are 0 to 1.
[[nodiscard]] platform::CGPoint uprightPoint(
    platform::CGPoint stored, platform::CGImagePropertyOrientation orientation);

/// Moves findings from the stored picture to the upright one.
void turnUpright(std::span<Finding> findings, platform::CGImagePropertyOrientation orientation);

[[nodiscard]] Picture uprightPicture(const Picture& stored, platform::CGImagePropertyOrientation orientation);

} // namespace tamsel::capture
