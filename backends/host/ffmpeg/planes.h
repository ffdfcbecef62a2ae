#pragma once

#include <tamsel/platform/CVPixelBuffer.h>

#include <cstdint>

struct AVFrame;

namespace tamsel::host {

// Conversions of whole pictures, by libyuv. A plane has a byte for each pixel, row after row without gaps, unless
// stated otherwise.

/// Fills the buffer from rows of its size in the order red, green, blue, alpha.
void convertRgba(const std::uint8_t* pixels, int bytesPerRow, platform::CVPixelBuffer& buffer);

/// The brightness of the pixels, full range.
void convertToLuma(const platform::CVPixelBuffer& pixels, std::uint8_t* luma);

/// Fills a frame in 8-bit YUV 4:2:0, no larger than the buffer, by BT.601 with limited range.
void convertToYuv420(const platform::CVPixelBuffer& pixels, AVFrame& frame);

/// Scales by averaging the source pixels of each target pixel. No side may have more than 32,767 pixels.
void scalePlane(
    const std::uint8_t* from, int width, int height, std::uint8_t* to, int scaledWidth, int scaledHeight);

/// Rotates clockwise; `bytesPerRow` is that of the rotated plane.
void turnPlane(
    const std::uint8_t* from, int width, int height, std::uint8_t* to, int bytesPerRow, int quarterTurns);

} // namespace tamsel::host
