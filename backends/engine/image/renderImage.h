#pragma once

#include <tamsel/platform/CIImage.h>

#include <expected>
#include <memory>

namespace tamsel::engine {

/// The pixels of an image's extent: its transform is applied to its source, and what the source does not cover is
/// transparent. Turns by right angles and mirrored pictures keep every pixel as it is; anything else is interpolated
/// between four neighbours. An image that is not moved is its source. Works on the calling thread; callable on any.
/// The error is one line.
[[nodiscard]] std::expected<std::shared_ptr<platform::CGImage>, platform::Error> renderImage(
    const platform::CIImage& image);

} // namespace tamsel::engine
