#include <engine/image/renderImage.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace tamsel::engine {

using namespace platform;

namespace {

constexpr double largestSide = 32768; // pixels
constexpr double mostPixels = 8192.0 * 8192.0;

std::unexpected<Error> failure(const char* text)
{
    return std::unexpected(Error{.localizedDescription = text});
}

std::expected<std::shared_ptr<CGImage>, Error> pixelsOf(const CIImage& image)
{
    if (const auto* pixels = std::get_if<std::shared_ptr<CGImage>>(&image.source()))
        return *pixels;
    return std::get<std::shared_ptr<const EncodedImage>>(image.source())->decode();
}

bool isRightAngled(const CGAffineTransform& t)
{
    const bool isUpright = std::abs(t.a) == 1 && std::abs(t.d) == 1 && t.b == 0 && t.c == 0;
    const bool isTurned = std::abs(t.b) == 1 && std::abs(t.c) == 1 && t.a == 0 && t.d == 0;
    return isUpright || isTurned;
}

/// The four bytes of a pixel; transparent outside of the picture.
std::uint32_t pixelAt(const CVPixelBuffer& pixels, double column, double row)
{
    std::uint32_t value = 0;
    if (column >= 0 && row >= 0 && column < static_cast<double>(pixels.width())
        && row < static_cast<double>(pixels.height()))
        std::memcpy(&value, pixels.pixel(static_cast<std::size_t>(column), static_cast<std::size_t>(row)), 4);
    return value;
}

/// Interpolates the four pixels around a position; each is weighted with its alpha, so that the outside adds no dark
/// edge.
std::uint32_t mixedAt(const CVPixelBuffer& pixels, double x, double y)
{
    const double column = std::floor(x - 0.5);
    const double row = std::floor(y - 0.5);
    const double right = x - 0.5 - column;
    const double down = y - 0.5 - row;
    std::array<double, 4> sum{};
    for (const bool isRight : {false, true}) {
        for (const bool isDown : {false, true}) {
            const std::uint32_t value = pixelAt(pixels, column + (isRight ? 1 : 0), row + (isDown ? 1 : 0));
            std::array<std::uint8_t, 4> bytes{};
            std::memcpy(bytes.data(), &value, 4);
            const double weight = (isRight ? right : 1 - right) * (isDown ? down : 1 - down) * bytes[3];
            for (std::size_t channel = 0; channel < 3; ++channel)
                sum[channel] += weight * bytes[channel];
            sum[3] += weight;
        }
    }
    std::array<std::uint8_t, 4> bytes{};
    for (std::size_t channel = 0; channel < 3; ++channel)
        bytes[channel] = sum[3] > 0 ? static_cast<std::uint8_t>(std::lround(sum[channel] / sum[3])) : 0;
    bytes[3] = static_cast<std::uint8_t>(std::lround(sum[3]));
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data(), 4);
    return value;
}

} // namespace

std::expected<std::shared_ptr<CGImage>, Error> renderImage(const CIImage& image)
{
    auto source = pixelsOf(image);
    if (!source || image.transform() == CGAffineTransform{})
        return source;
    const CVPixelBuffer& pixels = **source;
    const CGSize size = UIImage(*source).size();
    const CGRect extent = CGRectApplyAffineTransform({.origin = {}, .size = size}, image.transform());
    const CGAffineTransform inverse = CGAffineTransformInvert(image.transform());
    const CGAffineTransform back = CGAffineTransformConcat(image.transform(), inverse);
    if (!(extent.size.width > 0 && extent.size.height > 0)
        || !(std::abs(back.a - 1) < 1e-6 && std::abs(back.d - 1) < 1e-6))
        return failure("the image has no extent");
    const double width = std::ceil(extent.size.width - 1e-6);
    const double height = std::ceil(extent.size.height - 1e-6);
    if (width > largestSide || height > largestSide || width * height > mostPixels)
        return failure("the image is too large");

    auto target
        = std::make_shared<CVPixelBuffer>(static_cast<std::size_t>(width), static_cast<std::size_t>(height));
    const bool keepsPixels = isRightAngled(image.transform());
    for (std::size_t row = 0; row < target->height(); ++row) {
        std::byte* bytes = target->baseAddress() + row * target->bytesPerRow();
        const double y = extent.origin.y + extent.size.height - (static_cast<double>(row) + 0.5);
        for (std::size_t column = 0; column < target->width(); ++column, bytes += 4) {
            const double x = extent.origin.x + static_cast<double>(column) + 0.5;
            const CGPoint place = CGPointApplyAffineTransform({x, y}, inverse);
            const double fromTop = size.height - place.y;
            const std::uint32_t value = keepsPixels
                ? pixelAt(pixels, std::floor(place.x), std::floor(fromTop))
                : mixedAt(pixels, place.x, fromTop);
            std::memcpy(bytes, &value, 4);
        }
    }
    return target;
}

} // namespace tamsel::engine
