#pragma once

#include <tamsel/platform/AVCaptureConnection.h>
#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Geometry.h>

namespace tamsel::engine {

/// How many quarter turns clockwise, 0 to 3, make the stored pictures of a sensor upright for an interface. For portrait:
/// none from portrait, one from landscape right, two from upside down, three from landscape left.
[[nodiscard]] int quarterTurns(
    platform::AVCaptureVideoOrientation sensor, platform::AVCaptureVideoOrientation interface);

/// The mounting of a sensor whose stored pictures this number of quarter turns clockwise, 0 to 3, makes upright in portrait.
[[nodiscard]] platform::AVCaptureVideoOrientation sensorUprightAfter(int quarterTurns);

/// The orientation of a stored picture that this number of quarter turns clockwise, 0 to 3, makes upright.
[[nodiscard]] platform::CGImagePropertyOrientation orientationAfter(int quarterTurns);

/// Copies `source` into `target`, rotated clockwise. After an odd number of turns the target's width is the source's
/// height, and vice versa.
void turnPixels(const platform::CVPixelBuffer& source, platform::CVPixelBuffer& target, int quarterTurns);

/// The pinhole matrix of a frame of this size after the same rotation.
[[nodiscard]] platform::CameraIntrinsicMatrix turnMatrix(
    const platform::CameraIntrinsicMatrix& matrix, std::size_t width, std::size_t height, int quarterTurns);

/// The pinhole matrix of a frame of this size that shows a part of the sensor's picture, given in pixels, enlarged.
[[nodiscard]] platform::CameraIntrinsicMatrix enlargeMatrix(const platform::CameraIntrinsicMatrix& matrix,
    const platform::CGRect& part, std::size_t width, std::size_t height);

} // namespace tamsel::engine
