#pragma once

#include <formats/Orientation.h>

#include <tamsel/platform/CVPixelBuffer.h>

namespace tamsel::engine {

/// Copies `source` into `target`, which has its size or, if rows become columns, its width and height exchanged.
void turnUpright(
    const platform::CVPixelBuffer& source, platform::CVPixelBuffer& target, formats::Orientation orientation);

} // namespace tamsel::engine
