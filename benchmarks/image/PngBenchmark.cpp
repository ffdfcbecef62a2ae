// The cost of a PNG of a 12-megapixel frame, against libpng with its defaults on the same pixels.

#include "image/Frames.h"

#include <host/image/HostImages.h>

#include <png.h>

#include <algorithm>
#include <chrono>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tamsel {

namespace {

using namespace platform;

using Frame = std::shared_ptr<CVPixelBuffer>;

/// Copies of a photograph, up to 12 megapixels; they are too far from each other for a compressor to find. Null when
/// there is none.
Frame photograph(const char* name)
{
    const char* folder = std::getenv("TAMSEL_MEDIA");
    std::ifstream file(std::string(folder ? folder : "").append("/photo/").append(name), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const auto* bytes = reinterpret_cast<const std::byte*>(text.data());
    const auto data = std::make_shared<std::vector<std::byte>>(bytes, bytes + text.size());
    host::HostImages images;
    const auto encoded = images.openImage(data, {});
    const auto decoded = encoded ? encoded->decode() : std::unexpected(Error{});
    if (!decoded)
        return nullptr;
    const CGImage& photo = **decoded;
    const auto frame = std::make_shared<CVPixelBuffer>(photo.width(), pixels / photo.width());
    for (std::size_t y = 0; y < frame->height(); ++y) {
        std::memcpy(frame->baseAddress() + y * frame->bytesPerRow(), photo.pixel(0, y % photo.height()),
            photo.width() * 4);
    }
    return frame;
}

void append(png_structp png, png_bytep data, std::size_t size)
{
    auto& file = *static_cast<std::vector<std::byte>*>(png_get_io_ptr(png));
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    file.insert(file.end(), bytes, bytes + size);
}

void flush(png_structp) { }

/// libpng with its defaults.
std::size_t writeByDefaults(const CVPixelBuffer& frame)
{
    std::vector<std::byte> file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &file, &append, &flush);
    png_set_IHDR(png, info, static_cast<png_uint_32>(frame.width()), static_cast<png_uint_32>(frame.height()),
        8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    png_set_bgr(png);
    png_set_filler(png, 0, PNG_FILLER_AFTER);
    for (std::size_t y = 0; y < frame.height(); ++y)
        png_write_row(png, reinterpret_cast<png_const_bytep>(frame.pixel(0, y)));
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return file.size();
}

template <typename Write> std::pair<double, std::size_t> measure(Write write)
{
    const auto start = std::chrono::steady_clock::now();
    const std::size_t size = write();
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    return {taken.count(), size};
}

bool compare(const char* name, const Frame& frame, int rounds)
{
    host::HostImages images;
    const UIImage image(frame);
    std::vector<double> ours;
    std::vector<double> defaults;
    std::vector<double> ratios;
    std::pair<std::size_t, std::size_t> sizes;
    for (int round = 0; round < rounds; ++round) {
        const auto writeOurs = [&] {
            const auto [time, size] = measure([&] {
                const auto file = images.pngRepresentation(image);
                return file ? file->size() : 0;
            });
            ours.push_back(time);
            sizes.first = size;
        };
        const auto writeDefaults = [&] {
            const auto [time, size] = measure([&] { return writeByDefaults(*frame); });
            defaults.push_back(time);
            sizes.second = size;
        };
        // Alternating, each first equally often.
        if (round % 2 == 0) {
            writeOurs();
            writeDefaults();
        } else {
            writeDefaults();
            writeOurs();
        }
        ratios.push_back(ours.back() / defaults.back());
    }
    std::printf("%-24s %8.0f ms %8.0f ms %8.3f %8.2f MB %8.2f MB %8.3f\n", name, median(ours),
        median(defaults), median(ratios), static_cast<double>(sizes.first) / 1e6,
        static_cast<double>(sizes.second) / 1e6,
        static_cast<double>(sizes.first) / static_cast<double>(sizes.second));
    return sizes.first > 0;
}

} // namespace

} // namespace tamsel

int main(int count, char** arguments)
{
    const bool isShort = count > 1 && std::strcmp(arguments[1], "--short") == 0;
    const int rounds = isShort ? 3 : 9;
    std::printf("A PNG of 12 megapixels, medians of %d rounds\n", rounds);
    std::printf("%-24s %11s %11s %8s %11s %11s %8s\n", "picture", "time", "defaults", "ratio", "size",
        "defaults", "ratio");
    bool isDone = tamsel::compare("gradients with noise", tamsel::gradientsWithNoise(), rounds);
    for (const char* name : {"orientation_1.jpg", "gps_north_east.jpg", "face_astronaut.png"}) {
        if (const tamsel::Frame photo = tamsel::photograph(name))
            isDone = tamsel::compare(name, photo, rounds) && isDone;
        else
            std::printf("%-24s not there: TAMSEL_MEDIA names no folder with photo/%s\n", name, name);
    }
    return isDone ? EXIT_SUCCESS : EXIT_FAILURE;
}
