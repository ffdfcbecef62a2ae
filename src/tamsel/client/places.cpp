#include <tamsel/client/places.h>

#include <array>
#include <cstddef>

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

} // namespace tamsel
