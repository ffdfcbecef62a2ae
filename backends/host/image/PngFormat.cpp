#include <formats/Orientation.h>
#include <host/image/Bytes.h>
#include <host/image/PictureFormats.h>

#include <png.h>

#include <array>
#include <cstdio>

namespace tamsel::host {

using namespace platform;

namespace {

using namespace std::string_view_literals;

constexpr auto signature = "\x89PNG\r\n\x1a\n"sv;

/// The orientation may follow the pixels.
formats::Orientation orientationOf(Bytes picture)
{
    std::size_t offset = signature.size();
    while (const auto size = bigNumber(picture, offset, 4)) {
        if (formats::holdsText(picture, offset + 4, "eXIf"sv))
            return formats::exifOrientation(partOf(picture, offset + 8, *size));
        offset += std::size_t{*size} + 12;
    }
    return formats::upright;
}

std::optional<PictureHeader> readHeader(Bytes picture)
{
    if (!formats::holdsText(picture, 0, signature) || !formats::holdsText(picture, 12, "IHDR"sv))
        return std::nullopt;
    const auto width = bigNumber(picture, 16, 4);
    const auto height = bigNumber(picture, 20, 4);
    if (!width || !height)
        return std::nullopt;
    return PictureHeader{.width = *width, .height = *height, .orientation = orientationOf(picture)};
}

/// State that libpng's callbacks share.
struct Reading {
    CVPixelBuffer& target;
    int passes = 1; ///< seven for interlaced pictures
    bool isComplete = false;
    std::array<char, 128> message{"the file ends early"};
};

[[noreturn]] void fail(png_structp png, png_const_charp message)
{
    auto* reading = static_cast<Reading*>(png_get_error_ptr(png));
    std::snprintf(reading->message.data(), reading->message.size(), "%s", message);
    png_longjmp(png, 1);
}

void ignore(png_structp, png_const_charp) { }

/// Converts every kind of pixels to 8 bits of blue, green, red and alpha.
void begin(png_structp png, png_infop info)
{
    auto* reading = static_cast<Reading*>(png_get_progressive_ptr(png));
    const CVPixelBuffer& target = reading->target;
    if (png_get_image_width(png, info) != target.width()
        || png_get_image_height(png, info) != target.height())
        png_error(png, "its size differs from its header");
    png_set_expand(png);
    png_set_scale_16(png);
    png_set_gray_to_rgb(png);
    png_set_bgr(png);
    png_set_add_alpha(png, 0xff, PNG_FILLER_AFTER);
    reading->passes = png_set_interlace_handling(png);
    png_read_update_info(png, info);
    if (png_get_rowbytes(png, info) != target.width() * 4)
        png_error(png, "its pixels are of an unknown kind");
}

/// Called for every row of every pass, without pixels where the pass has none.
void takeRow(png_structp png, png_bytep pixels, png_uint_32 y, int pass)
{
    auto* reading = static_cast<Reading*>(png_get_progressive_ptr(png));
    CVPixelBuffer& target = reading->target;
    png_progressive_combine_row(
        png, reinterpret_cast<png_bytep>(target.baseAddress() + y * target.bytesPerRow()), pixels);
    reading->isComplete = pass + 1 == reading->passes && y + 1 == target.height();
}

/// No C++ object may be constructed in here: libpng leaves by longjmp. Progressive reading needs no more memory than
/// the pixels: data after the last row, texts and colour profiles are not unpacked.
bool readRows(png_structp png, png_infop info, Reading& reading, Bytes picture)
{
    if (setjmp(png_jmpbuf(png)) != 0) // NOLINT
        return false;
    png_set_user_limits(png, maximumSide, maximumSide);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_set_progressive_read_fn(png, &reading, &begin, &takeRow, nullptr);
    png_process_data(
        png, info, reinterpret_cast<png_bytep>(const_cast<std::byte*>(picture.data())), picture.size());
    return reading.isComplete;
}

std::expected<void, Error> decode(Bytes picture, CVPixelBuffer& target)
{
    Reading reading{.target = target};
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reading, &fail, &ignore);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    const bool isDone = info && readRows(png, info, reading, picture);
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
