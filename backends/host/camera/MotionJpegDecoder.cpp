#include <host/camera/MotionJpegDecoder.h>

#include <host/image/PictureFormats.h>

#include <string_view>

namespace tamsel::host {

namespace {

/// A frame whose end was lost still decodes, to a picture with a grey part. Devices pad after the marker.
bool hasEndOfImage(std::span<const std::byte> picture)
{
    const std::string_view bytes(reinterpret_cast<const char*>(picture.data()), picture.size());
    return bytes.rfind("\xff\xd9") != std::string_view::npos;
}

} // namespace

bool MotionJpegDecoder::decode(std::span<const std::byte> picture, platform::CVPixelBuffer& target,
    const std::optional<platform::CGRect>& part)
{
    if (!hasEndOfImage(picture) || hasTooManyScans(picture))
        return false;
    AVFrame* frame = decoder_.decode(picture);
    const auto width = static_cast<int>(target.width());
    const auto height = static_cast<int>(target.height());
    if (!frame || frame->width < width || frame->height < height)
        return false;
    frame->width = width;
    frame->height = height;
    frame->color_range = AVCOL_RANGE_JPEG;
    frame->colorspace = AVCOL_SPC_SMPTE170M;
    return converter_.convert(*frame, target, part);
}

} // namespace tamsel::host
