#pragma once

#include <array>
#include <cstdint>

namespace tamsel::platform {

/// A point; units are those of the coordinate space that it is used in.
struct CGPoint {
    double x = 0;
    double y = 0;

    bool operator==(const CGPoint&) const = default;
};

/// Width, then height.
struct CGSize {
    double width = 0;
    double height = 0;

    bool operator==(const CGSize&) const = default;
};

/// A rectangle: the corner with the smallest coordinates, and its size.
struct CGRect {
    CGPoint origin;
    CGSize size;

    bool operator==(const CGRect&) const = default;
};

/// The affine map x' = a·x + c·y + tx, y' = b·x + d·y + ty. The default is the identity.
struct CGAffineTransform {
    double a = 1;
    double b = 0;
    double c = 0;
    double d = 1;
    double tx = 0;
    double ty = 0;

    bool operator==(const CGAffineTransform&) const = default;
};

/// The inverse map; a transform that cannot be inverted is returned unchanged.
[[nodiscard]] CGAffineTransform CGAffineTransformInvert(const CGAffineTransform& transform);

/// The transform that applies `first`, and then `second`.
[[nodiscard]] CGAffineTransform CGAffineTransformConcat(
    const CGAffineTransform& first, const CGAffineTransform& second);

/// The transformed point.
[[nodiscard]] CGPoint CGPointApplyAffineTransform(const CGPoint& point, const CGAffineTransform& transform);

/// The smallest rectangle around the transformed one.
[[nodiscard]] CGRect CGRectApplyAffineTransform(const CGRect& rect, const CGAffineTransform& transform);

/// The rotation or mirroring that makes stored pixels upright: the values of the EXIF tag Orientation (CIPA DC-008).
enum class CGImagePropertyOrientation : std::uint32_t {
    up = 1,
    upMirrored = 2,
    down = 3,
    downMirrored = 4,
    leftMirrored = 5,
    right = 6,
    rightMirrored = 7,
    left = 8,
};

/// The map of places that such a rotation or mirroring makes: from the stored picture to the upright one, both with
/// coordinates from 0 to 1 from their top left corner.
[[nodiscard]] CGAffineTransform CGAffineTransformMakeUpright(CGImagePropertyOrientation orientation);

/// The pinhole matrix of a camera, row by row, in pixels of its frame.
struct CameraIntrinsicMatrix {
    std::array<float, 9> rows{1, 0, 0, 0, 1, 0, 0, 0, 1};

    bool operator==(const CameraIntrinsicMatrix&) const = default;
};

} // namespace tamsel::platform
