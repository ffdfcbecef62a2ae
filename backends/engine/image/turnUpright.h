#pragma once

#include <formats/Orientation.h>

#include <tamsel/platform/CVPixelBuffer.h>

namespace tamsel::engine {

/// Copies `source` into `target`, which has its size or, where rows become columns, that size the other way round.
void turnUpright(
    const platform::CVPixelBuffer& source, platform::CVPixelBuffer& target, formats::Orientation orientation);

} // namespace tamsel::engine
