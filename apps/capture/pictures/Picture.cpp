#include "pictures/Picture.h"

#include "Files.h"

#include <host/image/HostImages.h>

#include <algorithm>
#include <array>
#include <cerrno>
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

void requirePictureEnding(const std::string& file)
{
    requireEnding(file, {".png", ".jpg", ".jpeg"});
}

std::expected<void, std::string> writePicture(const platform::UIImage& image, const std::string& file)
{
    const std::string ending = endingOf(file);
    const bool isJpeg = ending == ".jpg" || ending == ".jpeg";
    host::HostImages images;
    const auto content = isJpeg ? images.encodePhoto(*image.cgImage(), {}) : images.pngRepresentation(image);
    if (!content)
        return std::unexpected("cannot write " + file + ": the picture cannot be encoded");
    return writeFile(*content, file);
}

std::expected<void, std::string> writePicture(const Picture& picture, const std::string& file)
{
    const auto buffer = std::make_shared<platform::CVPixelBuffer>(picture.width, picture.height);
    const std::uint8_t* rgb = picture.rgb.data();
    for (std::size_t y = 0; y < picture.height; ++y) {
        std::byte* pixel = buffer->baseAddress() + y * buffer->bytesPerRow();
        for (std::size_t x = 0; x < picture.width; ++x, pixel += 4, rgb += 3) {
            for (std::size_t channel = 0; channel < 3; ++channel)
                pixel[channel] = std::byte{rgb[2 - channel]};
            pixel[3] = std::byte{255};
        }
    }
    return writePicture(platform::UIImage(buffer), file);
}

} // namespace tamsel::capture
