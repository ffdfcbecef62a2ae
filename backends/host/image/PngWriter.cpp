#include <host/image/PngWriter.h>

#include <png.h>

#include <algorithm>
#include <cstdint>
#include <exception>

namespace tamsel::host {

using namespace platform;

namespace {

bool isOpaque(const CVPixelBuffer& picture)
{
    constexpr std::uint32_t alpha = 0xff000000; // BGRA on a little-endian machine
    for (std::size_t y = 0; y < picture.height(); ++y) {
        const auto* row = reinterpret_cast<const std::uint32_t*>(picture.pixel(0, y));
        std::uint32_t all = alpha;
        for (std::size_t x = 0; x < picture.width(); ++x)
            all &= row[x];
        if (all != alpha)
            return false;
    }
    return true;
}

[[noreturn]] void fail(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

void ignore(png_structp, png_const_charp) { }

void append(png_structp png, png_bytep data, std::size_t size)
{
    bool isDone = true;
    try {
        auto& file = *static_cast<std::vector<std::byte>*>(png_get_io_ptr(png));
        const auto* bytes = reinterpret_cast<const std::byte*>(data);
        file.insert(file.end(), bytes, bytes + size);
    } catch (const std::exception&) {
        isDone = false;
    }
    if (!isDone)
        png_error(png, "out of memory");
}

void flush(png_structp) { }

/// No C++ object may live in here: libpng leaves by longjmp.
bool writeRows(png_structp png, png_infop info, const CVPixelBuffer& picture, bool hasAlpha)
{
    if (setjmp(png_jmpbuf(png)) != 0) // NOLINT
        return false;
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width()),
        static_cast<png_uint_32>(picture.height()), 8,
        hasAlpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
        PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // Measured on photographs: about a tenth of the time that libpng's defaults take, at nearly the same size.
    png_set_compression_level(png, 1);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_write_info(png, info);
    png_set_bgr(png);
    if (!hasAlpha)
        png_set_filler(png, 0, PNG_FILLER_AFTER);
    for (std::size_t y = 0; y < picture.height(); ++y)
        png_write_row(png, reinterpret_cast<png_const_bytep>(picture.pixel(0, y)));
    png_write_end(png, info);
    return true;
}

} // namespace

std::optional<std::vector<std::byte>> writePng(const CVPixelBuffer& picture)
{
    if (picture.width() == 0 || picture.height() == 0)
        return std::nullopt;
    std::vector<std::byte> file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, &fail, &ignore);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    bool isDone = false;
    if (info) {
        png_set_write_fn(png, &file, &append, &flush);
        isDone = writeRows(png, info, picture, !isOpaque(picture));
    }
    png_destroy_write_struct(&png, &info);
    if (!isDone)
        return std::nullopt;
    return file;
}

} // namespace tamsel::host
