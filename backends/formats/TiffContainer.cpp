#include <formats/TiffContainer.h>

#include <string_view>

namespace tamsel::formats {

namespace {

/// Programs locate trailers behind the last page from the end of the file.
bool hasTrailer(ByteView file)
{
    const auto isBeforeEnd = [&](std::size_t distance, std::string_view text) {
        return file.size() >= distance && holdsText(file, file.size() - distance, text);
    };
    return isBeforeEnd(64, "CANON OPTIONAL DATA") || isBeforeEnd(8, "cbipcbbl") || isBeforeEnd(12, "AXS!")
        || isBeforeEnd(12, "AXS*");
}

} // namespace

TiffContainer::TiffContainer(ByteView file) : ImageContainer(file)
{
    if (!hasTiffHeader(file)) {
        fail("BigTIFF is not rewritten");
        return;
    }
    const auto block = TiffBlock::open(file);
    if (!block || block->first().entries.empty()) {
        fail("the first directory of the TIFF file is damaged");
        return;
    }
    exif_ = file;
    if (hasTrailer(file))
        fail("a trailer of the TIFF file must stay at its end");
    const PixelSize size{.width = block->number(tiffTag::imageWidth).value_or(0),
        .height = block->number(tiffTag::imageLength).value_or(0)};
    if (size.width != 0 && size.height != 0)
        size_ = size;
    else
        fail("the TIFF file has no picture");
}

std::expected<std::vector<Splice>, platform::Error> TiffContainer::replaceExif(
    const std::vector<Splice>& changes) const
{
    return changes;
}

} // namespace tamsel::formats
