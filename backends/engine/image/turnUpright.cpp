#include <engine/image/turnUpright.h>

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>

namespace tamsel::engine {

namespace {

// A tile of 32 by 32 pixels is 4 KiB on each side, so that both stay in the L1 cache.
constexpr std::size_t tile = 32;

} // namespace

void turnUpright(
    const platform::CVPixelBuffer& source, platform::CVPixelBuffer& target, formats::Orientation orientation)
{
    const std::size_t width = target.width();
    const std::size_t height = target.height();
    assert(formats::isTransposed(orientation) ? source.width() == height && source.height() == width
                                              : source.width() == width && source.height() == height);
    const bool fromRight = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    const bool fromBottom = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
    const auto stride = static_cast<std::ptrdiff_t>(source.bytesPerRow() / 4);
    const std::ptrdiff_t column = fromRight ? -1 : 1;
    const std::ptrdiff_t row = fromBottom ? -stride : stride;
    // How the position in the source changes with x and y of the target.
    const std::ptrdiff_t alongX = formats::isTransposed(orientation) ? row : column;
    const std::ptrdiff_t alongY = formats::isTransposed(orientation) ? column : row;
    const auto* first = reinterpret_cast<const std::uint32_t*>(
        source.pixel(fromRight ? source.width() - 1 : 0, fromBottom ? source.height() - 1 : 0));

    for (std::size_t top = 0; top < height; top += tile) {
        for (std::size_t left = 0; left < width; left += tile) {
            const std::size_t right = std::min(left + tile, width);
            for (std::size_t y = top; y < std::min(top + tile, height); ++y) {
                auto* out = reinterpret_cast<std::uint32_t*>(target.baseAddress() + y * target.bytesPerRow());
                const std::uint32_t* in = first + static_cast<std::ptrdiff_t>(y) * alongY;
                for (std::size_t x = left; x < right; ++x)
                    out[x] = in[static_cast<std::ptrdiff_t>(x) * alongX];
            }
        }
    }
}

} // namespace tamsel::engine
