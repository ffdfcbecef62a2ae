#include "support/Pictures.h"

#include <host/image/HostImages.h>

#include <libdeflate.h>
#include <turbojpeg.h>
#include <webp/encode.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace tamsel::tests {

using namespace platform;

namespace {

std::string big(std::uint32_t number, int size)
{
    std::string bytes;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
        bytes.push_back(static_cast<char>(number >> shift & 0xff));
    return bytes;
}

std::string little(std::uint32_t number, int size)
{
    std::string bytes = big(number, size);
    std::ranges::reverse(bytes);
    return bytes;
}

/// Big-endian for odd orientations, so that both orders are read.
std::string exif(int orientation)
{
    const bool isBig = orientation % 2 == 1;
    const auto number = [isBig](int value, int size) {
        return isBig ? big(static_cast<std::uint32_t>(value), size)
                     : little(static_cast<std::uint32_t>(value), size);
    };
    std::string bytes = (isBig ? "MM" : "II") + number(42, 2) + number(8, 4);
    bytes += number(2, 2); // entries
    bytes += number(0x0100, 2) + number(4, 2) + number(1, 4) + number(7, 4); // something before it
    bytes += number(0x0112, 2) + number(3, 2) + number(1, 4) + number(orientation, 2) + number(0, 2);
    return bytes + number(0, 4);
}

std::string riffChunk(const std::string& kind, const std::string& content)
{
    const std::string padding(content.size() % 2, '\0');
    return kind + little(static_cast<std::uint32_t>(content.size()), 4) + content + padding;
}

std::string text(const unsigned char* bytes, std::size_t size)
{
    return {reinterpret_cast<const char*>(bytes), size};
}

Pixels mirrored(const Pixels& picture)
{
    Pixels result(picture.width, picture.height);
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            result.at(picture.width - 1 - x, y) = picture.at(x, y);
    return result;
}

Pixels quarterTurned(const Pixels& picture)
{
    Pixels result(picture.height, picture.width);
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            result.at(picture.height - 1 - y, x) = picture.at(x, y);
    return result;
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
    return big(static_cast<std::uint32_t>(kindAndContent.size() - 4), 4) + kindAndContent
        + big(libdeflate_crc32(0, kindAndContent.data(), kindAndContent.size()), 4);
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

Pixels uprightPicture(Pixels stored, int orientation)
{
    struct Moves {
        bool mirrors;
        int quarterTurns;
    };
    constexpr std::array<Moves, 9> moves{
        {{}, {false, 0}, {true, 0}, {false, 2}, {true, 2}, {true, 3}, {false, 1}, {true, 1}, {false, 3}}};
    const Moves& own = moves.at(static_cast<std::size_t>(orientation));
    if (own.mirrors)
        stored = mirrored(stored);
    for (int turn = 0; turn < own.quarterTurns; ++turn)
        stored = quarterTurned(stored);
    return stored;
}

std::string jpegFile(const Pixels& picture, int orientation, int quality)
{
    std::string file = compressJpeg(reinterpret_cast<const unsigned char*>(picture.words.data()),
        picture.width, picture.height, TJPF_BGRX, quality);
    if (orientation != 0) {
        const std::string content = std::string("Exif\0\0", 6) + exif(orientation);
        // Behind the JFIF segment, as many programs write it.
        constexpr std::size_t place = 2 + 18;
        file.insert(place, "\xff\xe1" + big(static_cast<std::uint32_t>(content.size() + 2), 2) + content);
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
        file.insert(place, pngChunk("eXIf" + exif(orientation)));
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
        constexpr std::uint32_t flags = 0x08 | 0x10; // Exif, alpha
        const std::string header = little(flags, 4) + little(static_cast<std::uint32_t>(picture.width - 1), 3)
            + little(static_cast<std::uint32_t>(picture.height - 1), 3);
        const std::string content
            = "WEBP" + riffChunk("VP8X", header) + file.substr(12) + riffChunk("EXIF", exif(orientation));
        file = riffChunk("RIFF", content);
    }
    return file;
}

std::string tiffFile(const Pixels& picture, int orientation)
{
    std::string strip;
    for (const std::uint32_t word : picture.words)
        strip += big(word & 0xffffff, 3);
    constexpr std::uint32_t entries = 9;
    constexpr std::uint32_t depths = 8 + 2 + entries * 12 + 4;
    constexpr std::uint32_t pixels = depths + 6;
    const auto entry = [](std::uint32_t tag, std::uint32_t type, std::uint32_t count, std::uint32_t value) {
        return little(tag, 2) + little(type, 2) + little(count, 4) + little(value, 4);
    };
    return "II" + little(42, 2) + little(8, 4) + little(entries, 2)
        + entry(256, 4, 1, static_cast<std::uint32_t>(picture.width))
        + entry(257, 3, 1, static_cast<std::uint32_t>(picture.height)) + entry(258, 3, 3, depths)
        + entry(259, 3, 1, 1) + entry(262, 3, 1, 2) + entry(273, 4, 1, pixels)
        + entry(274, 3, 1, static_cast<std::uint32_t>(orientation)) + entry(277, 3, 1, 3)
        + entry(279, 4, 1, static_cast<std::uint32_t>(strip.size())) + little(0, 4) + little(8, 2)
        + little(8, 2) + little(8, 2) + strip;
}

std::string rawPngFile(const RawPng& description, const std::vector<std::uint8_t>& row)
{
    const std::string stored = '\0' + text(row.data(), row.size()); // its filter is none
    libdeflate_compressor* compressor = libdeflate_alloc_compressor(1);
    std::string packed(libdeflate_zlib_compress_bound(compressor, stored.size()), '\0');
    packed.resize(
        libdeflate_zlib_compress(compressor, stored.data(), stored.size(), packed.data(), packed.size()));
    libdeflate_free_compressor(compressor);
    const auto chunk = [](const std::string& kind, const std::vector<std::uint8_t>& content) {
        return content.empty() ? "" : pngChunk(kind + text(content.data(), content.size()));
    };
    return "\x89PNG\r\n\x1a\n"
        + pngChunk("IHDR" + big(description.width, 4) + big(1, 4) + big(description.bitDepth, 1)
            + big(description.colourType, 1) + big(0, 3))
        + pngChunk("gAMA" + big(100'000, 4)) // colours stay as they are stored
        + chunk("PLTE", description.palette) + chunk("tRNS", description.paletteAlpha)
        + pngChunk("IDAT" + packed) + pngChunk("IEND");
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
