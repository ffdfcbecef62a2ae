#pragma once

#include <tamsel/platform/CVPixelBuffer.h>

#include <cstdint>

namespace tamsel::simulated {

/// Fills a buffer so that each pixel encodes its position: blue is the column, green the row, red the frame's number,
/// each modulo 256.
inline void showPlaces(platform::CVPixelBuffer& buffer, std::uint64_t frame)
{
    for (std::size_t y = 0; y < buffer.height(); ++y) {
        std::byte* pixel = buffer.baseAddress() + y * buffer.bytesPerRow();
        for (std::size_t x = 0; x < buffer.width(); ++x, pixel += 4) {
            pixel[0] = static_cast<std::byte>(x);
            pixel[1] = static_cast<std::byte>(y);
            pixel[2] = static_cast<std::byte>(frame);
            pixel[3] = std::byte{0xFF};
        }
    }
}

} // namespace tamsel::simulated
