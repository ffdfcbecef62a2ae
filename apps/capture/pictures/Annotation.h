#pragma once

#include "pictures/Picture.h"

#include <tamsel/platform/Geometry.h>

#include <span>
#include <string>
#include <vector>

namespace tamsel::capture {

/// A code or a face that was found in a picture.
struct Finding {
    std::vector<platform::CGPoint> corners; ///< in order around it, relative to the picture: 0 to 1
    std::string label;
    bool isFace = false;
};

/// Draws outlines with a mark on the first corner, labels near them, and a caption at the lower left.
void annotate(Picture& picture, std::span<const Finding> findings, const std::string& caption = {});

} // namespace tamsel::capture
