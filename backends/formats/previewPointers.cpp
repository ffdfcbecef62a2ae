#include <formats/previewPointers.h>

#include <formats/TiffBlock.h>

#include <algorithm>
#include <array>
#include <optional>

namespace tamsel::formats {

namespace {

constexpr std::uint16_t makerNote = 0x927C;

/// SOI and a marker that can follow it in a picture; compressed data never contains them. Some cameras spoil the first
/// byte.
bool isStartOfJpeg(ByteView file, std::size_t at)
{
    if (!holds(file, at, 4) || number16(file, at + 1, ByteOrder::big) != 0xD8FF)
        return false;
    const auto marker = std::to_integer<unsigned>(file[at + 3]);
    return marker >= 0xC0 && marker != 0xFF && (marker < 0xD0 || marker > 0xD9);
}

std::optional<ByteView> makerNoteOf(ByteView exif)
{
    const auto block = TiffBlock::open(exif);
    const auto directory = block ? block->directoryOf(tiffTag::exifDirectory) : std::nullopt;
    const TiffEntry* entry = directory ? directory->find(makerNote) : nullptr;
    return entry ? block->value(*entry) : std::nullopt;
}

} // namespace

std::vector<PreviewPointer> previewPointers(ByteView file, ByteView exif)
{
    std::vector<PreviewPointer> result;
    const auto note = makerNoteOf(exif);
    if (!note)
        return result;
    const auto exifBegin = static_cast<std::size_t>(exif.data() - file.data());
    const auto noteBegin = static_cast<std::size_t>(note->data() - exif.data());
    const std::size_t behind = exifBegin + exif.size();
    const auto leadsThere = [&](std::uint32_t offset) {
        return std::ranges::any_of(std::array{exifBegin, exifBegin + noteBegin},
            [&](std::size_t base) { return base + offset >= behind && isStartOfJpeg(file, base + offset); });
    };
    for (std::size_t at = 0; holds(*note, at, 4); at += 2) {
        for (const ByteOrder order : {ByteOrder::big, ByteOrder::little}) {
            const std::uint32_t offset = number32(*note, at, order);
            if (!leadsThere(offset))
                continue;
            result.push_back({.place = noteBegin + at, .order = order, .offset = offset});
            at += 2; // numbers do not overlap
            break;
        }
    }
    return result;
}

} // namespace tamsel::formats
