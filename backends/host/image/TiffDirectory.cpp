#include <host/image/TiffDirectory.h>

namespace tamsel::host {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t entrySize = 12;
constexpr std::uint16_t orientationTag = 0x0112;
constexpr std::uint32_t shortType = 3;
constexpr std::uint32_t longType = 4;

} // namespace

std::optional<TiffDirectory> TiffDirectory::read(Bytes tiff)
{
    const bool isLittle = hasTextAt(tiff, 0, "II*\0"sv);
    if (!isLittle && !hasTextAt(tiff, 0, "MM\0*"sv))
        return std::nullopt;
    const std::endian order = isLittle ? std::endian::little : std::endian::big;
    const auto offset = numberAt(tiff, 4, 4, order);
    const auto count = offset ? numberAt(tiff, *offset, 2, order) : std::nullopt;
    if (!count)
        return std::nullopt;
    return TiffDirectory(partOf(tiff, std::size_t{*offset} + 2, *count * entrySize), order);
}

std::optional<std::uint32_t> TiffDirectory::value(std::uint16_t tag) const
{
    for (std::size_t entry = 0; entry + entrySize <= entries_.size(); entry += entrySize) {
        if (numberAt(entries_, entry, 2, order_) != tag)
            continue;
        const auto type = numberAt(entries_, entry + 2, 2, order_);
        if (numberAt(entries_, entry + 4, 4, order_) != 1u || (type != shortType && type != longType))
            return std::nullopt;
        return numberAt(entries_, entry + 8, type == shortType ? 2 : 4, order_);
    }
    return std::nullopt;
}

Orientation TiffDirectory::orientation() const
{
    const std::uint32_t found = value(orientationTag).value_or(upright);
    return found >= 1 && found <= 8 ? static_cast<Orientation>(found) : upright;
}

Orientation exifOrientation(Bytes exif)
{
    constexpr auto prefix = "Exif\0\0"sv;
    if (hasTextAt(exif, 0, prefix))
        exif = exif.subspan(prefix.size());
    const auto directory = TiffDirectory::read(exif);
    return directory ? directory->orientation() : upright;
}

} // namespace tamsel::host
