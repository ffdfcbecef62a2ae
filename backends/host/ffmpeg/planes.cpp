#include <host/ffmpeg/planes.h>

#include <host/ffmpeg/owners.h>

#include <libyuv.h>

namespace tamsel::host {

// libyuv's name for bytes in the order blue, green, red, alpha is ARGB.

void convertRgba(const std::uint8_t* pixels, int bytesPerRow, platform::CVPixelBuffer& buffer)
{
    libyuv::ABGRToARGB(pixels, bytesPerRow, reinterpret_cast<std::uint8_t*>(buffer.baseAddress()),
        static_cast<int>(buffer.bytesPerRow()), static_cast<int>(buffer.width()),
        static_cast<int>(buffer.height()));
}

void convertToLuma(const platform::CVPixelBuffer& pixels, std::uint8_t* luma)
{
    const auto width = static_cast<int>(pixels.width());
    libyuv::ARGBToJ400(reinterpret_cast<const std::uint8_t*>(pixels.baseAddress()),
        static_cast<int>(pixels.bytesPerRow()), luma, width, width, static_cast<int>(pixels.height()));
}

void convertToYuv420(const platform::CVPixelBuffer& pixels, AVFrame& frame)
{
    libyuv::ARGBToI420(reinterpret_cast<const std::uint8_t*>(pixels.baseAddress()),
        static_cast<int>(pixels.bytesPerRow()), frame.data[0], frame.linesize[0], frame.data[1],
        frame.linesize[1], frame.data[2], frame.linesize[2], frame.width, frame.height);
}

void scalePlane(
    const std::uint8_t* from, int width, int height, std::uint8_t* to, int scaledWidth, int scaledHeight)
{
    libyuv::ScalePlane(
        from, width, width, height, to, scaledWidth, scaledWidth, scaledHeight, libyuv::kFilterBox);
}

void turnPlane(
    const std::uint8_t* from, int width, int height, std::uint8_t* to, int bytesPerRow, int quarterTurns)
{
    libyuv::RotatePlane(
        from, width, to, bytesPerRow, width, height, static_cast<libyuv::RotationMode>(90 * quarterTurns));
}

} // namespace tamsel::host
