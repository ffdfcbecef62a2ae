#include <host/camera/FrameFormat.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

namespace tamsel::host {

std::array<int, 4> FrameFormat::strides() const
{
    std::array<int, 4> result{};
    av_image_fill_linesizes(result.data(), layout.format, width); // of rows without padding
    result[0] = std::max(result[0], bytesPerRow);
    if (layout.format == AV_PIX_FMT_NV12)
        result[1] = std::max(result[1], result[0]);
    else if (layout.format == AV_PIX_FMT_YUV420P)
        result[1] = result[2] = (result[0] + 1) / 2;
    return result;
}

std::size_t FrameFormat::minimumBytes() const
{
    if (layout.isJpeg())
        return 1;
    const std::array<int, 4> lines = strides();
    std::array<std::uint8_t*, 4> planes{};
    const int whole = av_image_fill_pointers(planes.data(), layout.format, height, nullptr, lines.data());
    const int last = av_pix_fmt_count_planes(layout.format) - 1;
    const int padding
        = lines.at(static_cast<std::size_t>(last)) - av_image_get_linesize(layout.format, width, last);
    return whole < 0 ? std::numeric_limits<std::size_t>::max() : static_cast<std::size_t>(whole - padding);
}

void FrameFormat::wrap(std::span<std::byte> bytes, AVFrame& frame) const
{
    frame.format = layout.format;
    frame.width = width;
    frame.height = height;
    frame.colorspace = matrix;
    frame.color_range = range;
    std::ranges::copy(strides(), frame.linesize);
    av_image_fill_pointers(
        frame.data, layout.format, height, reinterpret_cast<std::uint8_t*>(bytes.data()), frame.linesize);
    if (layout.isRedFirst)
        std::swap(frame.data[1], frame.data[2]);
}

} // namespace tamsel::host
