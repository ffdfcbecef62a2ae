#include <tamsel/client/places.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace tamsel {

using namespace platform;

CGAffineTransform outputTransform(const CVPixelBuffer& frame)
{
    static constexpr std::array orientations{CGImagePropertyOrientation::up,
        CGImagePropertyOrientation::right, CGImagePropertyOrientation::down,
        CGImagePropertyOrientation::left};
    const auto turns = static_cast<std::size_t>(frame.quarterTurns());
    return CGAffineTransformConcat(CGAffineTransformMakeUpright(orientations.at(turns)),
        {.a = static_cast<double>(frame.width()),
            .b = 0,
            .c = 0,
            .d = static_cast<double>(frame.height()),
            .tx = 0,
            .ty = 0});
}

PicturePlacement placementOf(const CGAffineTransform& layerTransform)
{
    const CGAffineTransform& to = layerTransform;
    const double side = to.a * to.d < to.b * to.c ? -1 : 1; // mirrored or not
    const auto turns = std::lround(std::atan2(side * to.b, side * to.a) * 2 / std::numbers::pi);
    const CGSize size{std::hypot(to.a, to.b), std::hypot(to.c, to.d)};
    const CGPoint middle = CGPointApplyAffineTransform({0.5, 0.5}, to);
    return {.isMirrored = side < 0,
        .rect = {{middle.x - size.width / 2, middle.y - size.height / 2}, size},
        .quarterTurns = static_cast<int>(turns + 4) % 4};
}

} // namespace tamsel
