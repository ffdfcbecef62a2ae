#pragma once

#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Geometry.h>

namespace tamsel {

// Where the places of codes and faces, 0 to 1 from the top left corner of the stored picture, are in a live frame that
// may be rotated. For the preview see `AVCaptureVideoPreviewLayer`.

/// From places to pixels of a live frame, from its top left corner.
[[nodiscard]] platform::CGAffineTransform outputTransform(const platform::CVPixelBuffer& frame);

/// The pixel of a place.
[[nodiscard]] inline platform::CGPoint outputPointConvertedFromCaptureDevicePoint(
    const platform::CGPoint& point, const platform::CVPixelBuffer& frame)
{
    return CGPointApplyAffineTransform(point, outputTransform(frame));
}

/// The place of a pixel.
[[nodiscard]] inline platform::CGPoint captureDevicePointConvertedFromOutputPoint(
    const platform::CGPoint& point, const platform::CVPixelBuffer& frame)
{
    return CGPointApplyAffineTransform(point, CGAffineTransformInvert(outputTransform(frame)));
}

/// The pixels of a rectangle of places.
[[nodiscard]] inline platform::CGRect outputRectConvertedFromMetadataOutputRect(
    const platform::CGRect& rect, const platform::CVPixelBuffer& frame)
{
    return CGRectApplyAffineTransform(rect, outputTransform(frame));
}

/// The places of a rectangle of pixels.
[[nodiscard]] inline platform::CGRect metadataOutputRectConvertedFromOutputRect(
    const platform::CGRect& rect, const platform::CVPixelBuffer& frame)
{
    return CGRectApplyAffineTransform(rect, CGAffineTransformInvert(outputTransform(frame)));
}

/// How to draw a stored picture with a toolkit that mirrors it, scales it to a rectangle, and rotates that.
struct PicturePlacement {
    bool isMirrored = false; ///< from left to right, before it is rotated
    platform::CGRect rect; ///< before it is rotated
    int quarterTurns = 0; ///< 0 to 3, clockwise, around the middle of the rectangle
};

/// The placement that maps the picture as this transform does: the `layerTransform` of a preview's picture.
[[nodiscard]] PicturePlacement placementOf(const platform::CGAffineTransform& layerTransform);

} // namespace tamsel
