#pragma once

#include <tamsel/platform/CVPixelBuffer.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace tamsel::host {

/// The pixels as a PNG file: with alpha if any pixel needs it, without colour profile. Optimised for speed rather than
/// size. Absent for a picture without pixels, and when memory runs out.
[[nodiscard]] std::optional<std::vector<std::byte>> writePng(const platform::CVPixelBuffer& picture);

} // namespace tamsel::host
