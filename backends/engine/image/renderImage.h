#pragma once

#include <tamsel/platform/CIImage.h>

#include <expected>
#include <memory>

namespace tamsel::engine {

/// The pixels of an image's extent: its transform is applied to its source, and uncovered pixels are transparent.
/// Rotations by right angles and mirrors keep every pixel; anything else is bilinear. An image without a transform is
/// its source. Works on the calling thread; callable on any. The error is one line.
[[nodiscard]] std::expected<std::shared_ptr<platform::CGImage>, platform::Error> renderImage(
    const platform::CIImage& image);

} // namespace tamsel::engine
