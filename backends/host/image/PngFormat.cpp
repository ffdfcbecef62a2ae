#include <engine/image/Orientation.h>
#include <host/image/Bytes.h>
#include <host/image/PictureFormats.h>

#include <png.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace tamsel::host {

using namespace platform;

namespace {

using namespace std::string_view_literals;

constexpr auto signature = "\x89PNG\r\n\x1a\n"sv;

std::optional<std::uint32_t> big(Bytes bytes, std::size_t offset, std::size_t size)
{
    return numberAt(bytes, offset, size, std::endian::big);
}

/// The orientation may stand behind the pixels.
engine::Orientation orientationOf(Bytes picture)
{
    std::size_t offset = signature.size();
    while (const auto size = big(picture, offset, 4)) {
        if (engine::holdsText(picture, offset + 4, "eXIf"sv))
            return engine::exifOrientation(partOf(picture, offset + 8, *size));
        offset += std::size_t{*size} + 12;
    }
    return engine::upright;
}

std::optional<PictureHeader> readHeader(Bytes picture)
{
    if (!engine::holdsText(picture, 0, signature) || !engine::holdsText(picture, 12, "IHDR"sv))
        return std::nullopt;
    const auto width = big(picture, 16, 4);
    const auto height = big(picture, 20, 4);
    if (!width || !height)
        return std::nullopt;
    return PictureHeader{.width = *width, .height = *height, .orientation = orientationOf(picture)};
}

/// What libpng's callbacks share.
struct Reading {
    Bytes rest;
    std::array<char, 128> message{};
};

[[noreturn]] void fail(png_structp png, png_const_charp message)
{
    auto* reading = static_cast<Reading*>(png_get_error_ptr(png));
    std::snprintf(reading->message.data(), reading->message.size(), "%s", message);
    png_longjmp(png, 1);
}

void ignore(png_structp, png_const_charp) { }

void read(png_structp png, png_bytep target, std::size_t size)
{
    auto* reading = static_cast<Reading*>(png_get_io_ptr(png));
    if (size > reading->rest.size())
        png_error(png, "the file ends early");
    std::memcpy(target, reading->rest.data(), size);
    reading->rest = reading->rest.subspan(size);
}

/// No C++ object may live in here: libpng leaves by longjmp. Whatever the file holds becomes 8 bits of blue, green, red
/// and alpha.
bool readRows(png_structp png, png_infop info, CVPixelBuffer& target)
{
    if (setjmp(png_jmpbuf(png)) != 0) // NOLINT
        return false;
    png_set_user_limits(png, maximumPixels, maximumPixels);
    png_read_info(png, info);
    if (png_get_image_width(png, info) != target.width()
        || png_get_image_height(png, info) != target.height())
        png_error(png, "it has another size than it said");
    png_set_expand(png);
    png_set_scale_16(png);
    png_set_gray_to_rgb(png);
    png_set_bgr(png);
    png_set_add_alpha(png, 0xff, PNG_FILLER_AFTER);
    const int passes = png_set_interlace_handling(png);
    png_read_update_info(png, info);
    if (png_get_rowbytes(png, info) != target.width() * 4)
        png_error(png, "its pixels are of no known kind");
    for (int pass = 0; pass < passes; ++pass) {
        for (std::size_t y = 0; y < target.height(); ++y)
            png_read_row(
                png, reinterpret_cast<png_bytep>(target.baseAddress() + y * target.bytesPerRow()), nullptr);
    }
    png_read_end(png, nullptr);
    return true;
}

std::expected<void, Error> decode(Bytes picture, CVPixelBuffer& target)
{
    Reading reading{.rest = picture};
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reading, &fail, &ignore);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    bool isDone = false;
    if (info) {
        png_set_read_fn(png, &reading, &read);
        isDone = readRows(png, info, target);
    }
    png_destroy_read_struct(&png, &info, nullptr);
    if (!isDone)
        return std::unexpected(pictureError("PNG", reading.message.data()));
    return {};
}

} // namespace

PictureFormat pngFormat()
{
    return {&readHeader, &decode};
}

} // namespace tamsel::host
