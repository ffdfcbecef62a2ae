#include <engine/image/TiffContainer.h>

namespace tamsel::engine {

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
    const auto number = [&](std::uint16_t tag) -> std::uint32_t {
        const TiffEntry* entry = block->first().find(tag);
        const auto numbers
            = entry && entry->count == 1 ? block->numbers(*entry) : std::vector<std::uint32_t>{};
        return numbers.empty() ? 0 : numbers.front();
    };
    const PixelSize size{.width = number(tiffTag::imageWidth), .height = number(tiffTag::imageLength)};
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

} // namespace tamsel::engine
