#include "support/Pictures.h"

#include "support/PictureFiles.h"

#include <host/image/HostImages.h>

#include <turbojpeg.h>
#include <webp/encode.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace tamsel::tests {

using namespace platform;
using formats::ByteOrder;

namespace {

std::string big(std::uint32_t number, int size)
{
    std::string bytes;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
        bytes.push_back(static_cast<char>(number >> shift & 0xff));
    return bytes;
}

std::string text(const unsigned char* bytes, std::size_t size)
{
    return {reinterpret_cast<const char*>(bytes), size};
}

std::string text(const Bytes& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Big-endian for odd orientations, so that both orders are read.
Bytes exif(int orientation)
{
    TiffBuilder builder(orientation % 2 == 1 ? ByteOrder::big : ByteOrder::little);
    return builder.finish(builder.addDirectory({builder.longInteger(0x0100, 7), // something before it
        builder.shortInteger(0x0112, static_cast<std::uint32_t>(orientation))}));
}

std::string compressJpeg(const unsigned char* pixels, int width, int height, int format, int quality)
{
    tjhandle encoder = tjInitCompress();
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    tjCompress2(encoder, pixels, width, 0, height, format, &bytes, &size,
        format == TJPF_GRAY ? TJSAMP_GRAY : TJSAMP_444, quality, 0);
    std::string file = text(bytes, size);
    tjFree(bytes);
    tjDestroy(encoder);
    return file;
}

} // namespace

std::string pngChunk(const std::string& kindAndContent)
{
    return text(pngChunk(kindAndContent.substr(0, 4), bytesOf(kindAndContent.substr(4))));
}

Pixels::Pixels(const CVPixelBuffer& buffer)
    : Pixels(static_cast<int>(buffer.width()), static_cast<int>(buffer.height()))
{
    for (std::size_t y = 0; y < buffer.height(); ++y)
        std::memcpy(&words[y * buffer.width()], buffer.pixel(0, y), buffer.width() * 4);
}

std::shared_ptr<CVPixelBuffer> Pixels::buffer() const
{
    auto result
        = std::make_shared<CVPixelBuffer>(static_cast<std::size_t>(width), static_cast<std::size_t>(height));
    for (std::size_t y = 0; y < result->height(); ++y)
        std::memcpy(result->baseAddress() + y * result->bytesPerRow(), &words[y * result->width()],
            result->width() * 4);
    return result;
}

Pixels slopes(int width, int height, std::uint32_t alpha)
{
    Pixels picture(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto red = static_cast<std::uint32_t>(x * 255 / std::max(width - 1, 1));
            const auto green = static_cast<std::uint32_t>(y * 255 / std::max(height - 1, 1));
            picture.at(x, y) = alpha << 24 | red << 16 | green << 8 | (red + green) / 2;
        }
    }
    return picture;
}

int difference(const Pixels& one, const Pixels& other)
{
    if (one.width != other.width || one.height != other.height)
        return 256;
    int largest = 0;
    for (std::size_t index = 0; index < one.words.size(); ++index) {
        for (int shift = 0; shift < 32; shift += 8) {
            const auto a = static_cast<int>(one.words[index] >> shift & 0xff);
            const auto b = static_cast<int>(other.words[index] >> shift & 0xff);
            largest = std::max(largest, std::abs(a - b));
        }
    }
    return largest;
}

Pixels uprightPicture(const Pixels& stored, int orientation)
{
    const bool isOnItsSide = orientation >= 5;
    Pixels result(isOnItsSide ? stored.height : stored.width, isOnItsSide ? stored.width : stored.height);
    for (int y = 0; y < stored.height; ++y) {
        for (int x = 0; x < stored.width; ++x) {
            const int right = stored.width - 1 - x;
            const int bottom = stored.height - 1 - y;
            const std::array<std::pair<int, int>, 9> shown{{{x, y}, {x, y}, {right, y}, {right, bottom},
                {x, bottom}, {y, x}, {bottom, x}, {bottom, right}, {y, right}}};
            const auto& [column, row] = shown.at(static_cast<std::size_t>(orientation));
            result.at(column, row) = stored.at(x, y);
        }
    }
    return result;
}

std::string jpegFile(const Pixels& picture, int orientation, int quality)
{
    std::string file = compressJpeg(reinterpret_cast<const unsigned char*>(picture.words.data()),
        picture.width, picture.height, TJPF_BGRX, quality);
    if (orientation != 0) {
        // Behind the JFIF segment, as many programs write it.
        constexpr std::size_t place = 2 + 18;
        file.insert(place, text(exifSegment(exif(orientation))));
    }
    return file;
}

std::string pngFile(const Pixels& picture, int orientation)
{
    const auto bytes = host::HostImages().pngRepresentation(UIImage(picture.buffer()));
    std::string file(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    if (orientation != 0) {
        constexpr std::size_t ending
            = 12; // the last chunk, behind the pixels, in which some programs put it before
        const std::size_t place = orientation < 5 ? 33 : file.size() - ending;
        file.insert(place, text(pngChunk("eXIf", exif(orientation))));
    }
    return file;
}

std::string webPFile(const Pixels& picture, int orientation)
{
    std::uint8_t* bytes = nullptr;
    const std::size_t size
        = WebPEncodeLosslessBGRA(reinterpret_cast<const std::uint8_t*>(picture.words.data()), picture.width,
            picture.height, picture.width * 4, &bytes);
    std::string file = text(bytes, size);
    WebPFree(bytes);
    if (orientation != 0) {
        const TiffBuilder little(ByteOrder::little);
        constexpr std::uint32_t flags = 0x08 | 0x10; // Exif, alpha
        const Bytes size3 = little.numbers(
            {static_cast<std::uint32_t>(picture.width - 1), static_cast<std::uint32_t>(picture.height - 1)},
            3);
        file = text(webP({webPChunk("VP8X", join({little.numbers({flags}), size3})), bytesOf(file.substr(12)),
            webPChunk("EXIF", exif(orientation))}));
    }
    return file;
}

std::string tiffFile(const Pixels& picture, int orientation)
{
    std::string strip;
    for (const std::uint32_t word : picture.words)
        strip += big(word & 0xffffff, 3);
    TiffBuilder builder(ByteOrder::little);
    const std::size_t place = builder.add(bytesOf(strip));
    const auto shortly = [&](std::uint16_t tag, int value) {
        return builder.shortInteger(tag, static_cast<std::uint32_t>(value));
    };
    return text(builder.finish(builder.addDirectory(
        {builder.longInteger(256, static_cast<std::size_t>(picture.width)), shortly(257, picture.height),
            {258, formats::TiffType::shortInteger, 3, builder.numbers({8, 8, 8}, 2)}, shortly(259, 1),
            shortly(262, 2), builder.longInteger(273, place), shortly(274, orientation), shortly(277, 3),
            builder.longInteger(279, strip.size())})));
}

std::string flatJpegFile(int width, int height, const std::vector<std::uint8_t>& channels)
{
    std::vector<unsigned char> pixels;
    for (int pixel = 0; pixel < width * height; ++pixel)
        pixels.insert(pixels.end(), channels.begin(), channels.end());
    return compressJpeg(pixels.data(), width, height, channels.size() == 1 ? TJPF_GRAY : TJPF_CMYK, 100);
}

ImageData imageData(const std::string& file)
{
    const auto* bytes = reinterpret_cast<const std::byte*>(file.data());
    return std::make_shared<const std::vector<std::byte>>(bytes, bytes + file.size());
}

Pixels decoded(const std::string& file, const CIImageOptions& options)
{
    const auto image = host::HostImages().openImage(imageData(file), options);
    const auto pixels = image ? image->decode() : std::unexpected(Error{});
    return pixels ? Pixels(**pixels) : Pixels();
}

} // namespace tamsel::tests
