#pragma once

#include <tamsel/platform/AVCaptureOutput.h>
#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Geometry.h>

namespace tamsel::engine {

/// How many quarter turns clockwise bring stored pixels of one orientation into another: 0 to 3. Landscape right is
/// one quarter turn from portrait, upside down two, landscape left three.
[[nodiscard]] int quarterTurns(
    platform::AVCaptureVideoOrientation from, platform::AVCaptureVideoOrientation to);

/// The orientation of a stored picture that a number of quarter turns clockwise, 0 to 3, brings upright.
[[nodiscard]] platform::CGImagePropertyOrientation orientationAfter(int quarterTurns);

/// Copies `source` into `target`, turned clockwise. After an odd number of turns the target's width is the source's
/// height and the other way round.
void turnPixels(const platform::CVPixelBuffer& source, platform::CVPixelBuffer& target, int quarterTurns);

/// The pinhole matrix of a frame of this size after the same turn.
[[nodiscard]] platform::CameraIntrinsicMatrix turnMatrix(
    const platform::CameraIntrinsicMatrix& matrix, std::size_t width, std::size_t height, int quarterTurns);

} // namespace tamsel::engine
