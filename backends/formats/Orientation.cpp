#include <formats/Orientation.h>

#include <string_view>

namespace tamsel::formats {

Orientation orientationOf(const TiffBlock& tiff)
{
    return orientationOf(tiff.number(tiffTag::orientation).value_or(upright));
}

Orientation exifOrientation(ByteView exif)
{
    using namespace std::string_view_literals;
    constexpr auto prefix = "Exif\0\0"sv;
    if (holdsText(exif, 0, prefix))
        exif = exif.subspan(prefix.size());
    const auto tiff = TiffBlock::open(exif);
    return tiff ? orientationOf(*tiff) : upright;
}

} // namespace tamsel::formats
