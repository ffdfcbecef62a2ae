#include <tamsel/platform/Geometry.h>

#include <algorithm>
#include <cmath>

namespace tamsel::platform {

CGAffineTransform CGAffineTransformInvert(const CGAffineTransform& t)
{
    const double determinant = t.a * t.d - t.b * t.c;
    if (determinant == 0 || !std::isfinite(determinant))
        return t;
    // Adding zero removes the sign from zeros.
    return {
        .a = t.d / determinant + 0.0,
        .b = -t.b / determinant + 0.0,
        .c = -t.c / determinant + 0.0,
        .d = t.a / determinant + 0.0,
        .tx = (t.c * t.ty - t.d * t.tx) / determinant + 0.0,
        .ty = (t.b * t.tx - t.a * t.ty) / determinant + 0.0,
    };
}

CGAffineTransform CGAffineTransformConcat(const CGAffineTransform& first, const CGAffineTransform& second)
{
    return {
        .a = first.a * second.a + first.b * second.c,
        .b = first.a * second.b + first.b * second.d,
        .c = first.c * second.a + first.d * second.c,
        .d = first.c * second.b + first.d * second.d,
        .tx = first.tx * second.a + first.ty * second.c + second.tx,
        .ty = first.tx * second.b + first.ty * second.d + second.ty,
    };
}

CGPoint CGPointApplyAffineTransform(const CGPoint& point, const CGAffineTransform& t)
{
    return {t.a * point.x + t.c * point.y + t.tx, t.b * point.x + t.d * point.y + t.ty};
}

CGRect CGRectApplyAffineTransform(const CGRect& rect, const CGAffineTransform& transform)
{
    const double right = rect.origin.x + rect.size.width;
    const double top = rect.origin.y + rect.size.height;
    CGPoint low = CGPointApplyAffineTransform(rect.origin, transform);
    CGPoint high = low;
    for (const CGPoint& corner :
        {CGPoint{right, rect.origin.y}, CGPoint{rect.origin.x, top}, CGPoint{right, top}}) {
        const CGPoint moved = CGPointApplyAffineTransform(corner, transform);
        low = {std::min(low.x, moved.x), std::min(low.y, moved.y)};
        high = {std::max(high.x, moved.x), std::max(high.y, moved.y)};
    }
    return {.origin = low, .size = {high.x - low.x, high.y - low.y}};
}

CGAffineTransform CGAffineTransformMakeUpright(CGImagePropertyOrientation orientation)
{
    switch (orientation) {
    case CGImagePropertyOrientation::up:
        return {};
    case CGImagePropertyOrientation::upMirrored:
        return {.a = -1, .b = 0, .c = 0, .d = 1, .tx = 1, .ty = 0};
    case CGImagePropertyOrientation::down:
        return {.a = -1, .b = 0, .c = 0, .d = -1, .tx = 1, .ty = 1};
    case CGImagePropertyOrientation::downMirrored:
        return {.a = 1, .b = 0, .c = 0, .d = -1, .tx = 0, .ty = 1};
    case CGImagePropertyOrientation::leftMirrored:
        return {.a = 0, .b = 1, .c = 1, .d = 0, .tx = 0, .ty = 0};
    case CGImagePropertyOrientation::right:
        return {.a = 0, .b = 1, .c = -1, .d = 0, .tx = 1, .ty = 0};
    case CGImagePropertyOrientation::rightMirrored:
        return {.a = 0, .b = -1, .c = -1, .d = 0, .tx = 1, .ty = 1};
    case CGImagePropertyOrientation::left:
        return {.a = 0, .b = -1, .c = 1, .d = 0, .tx = 0, .ty = 1};
    }
    return {};
}

} // namespace tamsel::platform
