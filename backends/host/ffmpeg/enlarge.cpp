#include <host/ffmpeg/enlarge.h>

#include <libyuv.h>

namespace tamsel::host {

void enlarge(const platform::CVPixelBuffer& source, platform::CGRect part, platform::CVPixelBuffer& target)
{
    const std::byte* pixels
        = source.pixel(static_cast<std::size_t>(part.origin.x), static_cast<std::size_t>(part.origin.y));
    libyuv::ARGBScale(reinterpret_cast<const std::uint8_t*>(pixels), static_cast<int>(source.bytesPerRow()),
        static_cast<int>(part.size.width), static_cast<int>(part.size.height),
        reinterpret_cast<std::uint8_t*>(target.baseAddress()), static_cast<int>(target.bytesPerRow()),
        static_cast<int>(target.width()), static_cast<int>(target.height()), libyuv::kFilterBilinear);
}

} // namespace tamsel::host
