#include "Picture.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace tamsel::capture {

Picture makePicture(const platform::CVPixelBuffer& frame, std::size_t maximumWidth)
{
    const std::size_t width = std::max<std::size_t>(1, std::min(frame.width(), maximumWidth));
    const std::size_t height
        = std::max<std::size_t>(1, frame.height() * width / std::max<std::size_t>(1, frame.width()));
    Picture picture{width, height, std::vector<std::uint8_t>(width * height * 3)};
    for (std::size_t y = 0; y < height; ++y) {
        const std::size_t top = y * frame.height() / height;
        const std::size_t bottom = std::max(top + 1, (y + 1) * frame.height() / height);
        for (std::size_t x = 0; x < width; ++x) {
            const std::size_t left = x * frame.width() / width;
            const std::size_t right = std::max(left + 1, (x + 1) * frame.width() / width);
            std::array<std::size_t, 3> sum{};
            for (std::size_t row = top; row < bottom; ++row) {
                for (std::size_t column = left; column < right; ++column) {
                    const std::byte* pixel = frame.pixel(column, row);
                    for (std::size_t channel = 0; channel < 3; ++channel)
                        sum[channel] += std::to_integer<std::size_t>(pixel[2 - channel]);
                }
            }
            const std::size_t pixels = (bottom - top) * (right - left);
            for (std::size_t channel = 0; channel < 3; ++channel)
                picture.rgb[(y * width + x) * 3 + channel] = static_cast<std::uint8_t>(sum[channel] / pixels);
        }
    }
    return picture;
}

std::expected<void, std::string> writePng(const Picture& picture, const std::string& file)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_RGB;
    image.flags = PNG_IMAGE_FLAG_FAST;
    errno = 0;
    if (png_image_write_to_file(&image, file.c_str(), 0, picture.rgb.data(), 0, nullptr) == 0) {
        const std::string reason = errno != 0 ? std::strerror(errno) : image.message;
        return std::unexpected("cannot write " + file + ": " + reason);
    }
    return {};
}

} // namespace tamsel::capture
