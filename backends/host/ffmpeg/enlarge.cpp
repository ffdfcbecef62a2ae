#include <host/ffmpeg/enlarge.h>

#include <libyuv.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace tamsel::host {

namespace {

/// Rows that stay in a cache of their processor.
constexpr std::size_t stripHeight = 32;

/// libyuv's x86 code weighs two pixels with 127 of 128 parts, so that white becomes 253 and opaque pixels lose a little of
/// their alpha. Its other code does not.
void correct(std::uint8_t* bytes, std::size_t count)
{
    for (std::size_t index = 0; index < count; ++index)
        bytes[index] = static_cast<std::uint8_t>(bytes[index] + (bytes[index] >= 64) + (bytes[index] >= 192));
}

} // namespace

void enlarge(const platform::CVPixelBuffer& source, platform::CGRect part, platform::CVPixelBuffer& target)
{
    const std::byte* pixels
        = source.pixel(static_cast<std::size_t>(part.origin.x), static_cast<std::size_t>(part.origin.y));
    auto* out = reinterpret_cast<std::uint8_t*>(target.baseAddress());
    for (std::size_t top = 0; top < target.height(); top += stripHeight) {
        const std::size_t rows = std::min(stripHeight, target.height() - top);
        libyuv::ARGBScaleClip(reinterpret_cast<const std::uint8_t*>(pixels),
            static_cast<int>(source.bytesPerRow()), static_cast<int>(part.size.width),
            static_cast<int>(part.size.height), out, static_cast<int>(target.bytesPerRow()),
            static_cast<int>(target.width()), static_cast<int>(target.height()), 0, static_cast<int>(top),
            static_cast<int>(target.width()), static_cast<int>(rows), libyuv::kFilterBilinear);
        std::uint8_t* strip = out + top * target.bytesPerRow();
        if (strip[3] == 253) // of opaque frames
            correct(strip, rows * target.bytesPerRow());
    }
}

} // namespace tamsel::host
