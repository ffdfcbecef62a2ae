#include "pictures/Upright.h"

#include <algorithm>

namespace tamsel::capture {

using Orientation = platform::CGImagePropertyOrientation;
using platform::CGPoint;

int quarterTurnsOf(Orientation orientation)
{
    switch (orientation) {
    case Orientation::up:
    case Orientation::upMirrored:
        break;
    case Orientation::right:
    case Orientation::leftMirrored:
        return 1;
    case Orientation::down:
    case Orientation::downMirrored:
        return 2;
    case Orientation::left:
    case Orientation::rightMirrored:
        return 3;
    }
    return 0;
}

CGPoint uprightPoint(CGPoint stored, Orientation orientation)
{
    const auto [x, y] = stored;
    switch (orientation) {
    case Orientation::up:
        break;
    case Orientation::upMirrored:
        return {1 - x, y};
    case Orientation::down:
        return {1 - x, 1 - y};
    case Orientation::downMirrored:
        return {x, 1 - y};
    case Orientation::leftMirrored:
        return {y, x};
    case Orientation::right:
        return {1 - y, x};
    case Orientation::rightMirrored:
        return {1 - y, 1 - x};
    case Orientation::left:
        return {y, 1 - x};
    }
    return stored;
}

void turnUpright(std::span<Finding> findings, Orientation orientation)
{
    for (Finding& finding : findings) {
        for (CGPoint& corner : finding.corners)
            corner = uprightPoint(corner, orientation);
    }
}

Picture uprightPicture(const Picture& stored, Orientation orientation)
{
    const bool isTransposed = quarterTurnsOf(orientation) % 2 != 0;
    Picture upright{isTransposed ? stored.height : stored.width, isTransposed ? stored.width : stored.height,
        std::vector<std::uint8_t>(stored.rgb.size())};
    for (std::size_t row = 0; row < stored.height; ++row) {
        for (std::size_t column = 0; column < stored.width; ++column) {
            // The centre of a pixel, which never falls on the edge between two.
            const CGPoint point
                = uprightPoint({(static_cast<double>(column) + 0.5) / static_cast<double>(stored.width),
                                   (static_cast<double>(row) + 0.5) / static_cast<double>(stored.height)},
                    orientation);
            const auto x = static_cast<std::size_t>(point.x * static_cast<double>(upright.width));
            const auto y = static_cast<std::size_t>(point.y * static_cast<double>(upright.height));
            std::copy_n(
                &stored.rgb[(row * stored.width + column) * 3], 3, &upright.rgb[(y * upright.width + x) * 3]);
        }
    }
    return upright;
}

} // namespace tamsel::capture
