#include <tamsel/platform/Geometry.h>

#include <cmath>

namespace tamsel::platform {

CGAffineTransform CGAffineTransformInvert(const CGAffineTransform& t)
{
    const double determinant = t.a * t.d - t.b * t.c;
    if (determinant == 0 || !std::isfinite(determinant))
        return t;
    return {
        .a = t.d / determinant,
        .b = -t.b / determinant,
        .c = -t.c / determinant,
        .d = t.a / determinant,
        .tx = (t.c * t.ty - t.d * t.tx) / determinant,
        .ty = (t.b * t.tx - t.a * t.ty) / determinant,
    };
}

} // namespace tamsel::platform
