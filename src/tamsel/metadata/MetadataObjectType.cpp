#include <tamsel/metadata/MetadataObjectType.h>

#include <algorithm>
#include <array>

namespace tamsel {

namespace {

constexpr std::array<std::string_view, 14> rawValues{
    "org.iso.Code39",
    "org.iso.Code39Mod43",
    "com.intermec.Code93",
    "org.iso.Code128",
    "org.gs1.EAN-8",
    "org.gs1.EAN-13",
    "org.ansi.Interleaved2of5",
    "org.gs1.ITF14",
    "org.gs1.UPC-E",
    "org.iso.Aztec",
    "org.iso.DataMatrix",
    "org.iso.PDF417",
    "org.iso.QRCode",
    "face",
};

std::vector<MetadataObjectType> range(MetadataObjectType::Case first, MetadataObjectType::Case last)
{
    std::vector<MetadataObjectType> kinds;
    for (int index = first; index <= last; ++index)
        kinds.emplace_back(static_cast<MetadataObjectType::Case>(index));
    return kinds;
}

} // namespace

std::optional<MetadataObjectType> MetadataObjectType::fromRawValue(std::string_view rawValue)
{
    const auto found = std::ranges::find(rawValues, rawValue);
    if (found == rawValues.end())
        return std::nullopt;
    return MetadataObjectType(static_cast<Case>(found - rawValues.begin()));
}

std::string_view MetadataObjectType::rawValue() const
{
    return rawValues.at(value_);
}

std::vector<MetadataObjectType> all1DBarcodes()
{
    return range(MetadataObjectType::code39, MetadataObjectType::upce);
}

std::vector<MetadataObjectType> all2DBarcodes()
{
    return range(MetadataObjectType::aztec, MetadataObjectType::qr);
}

std::vector<MetadataObjectType> allBarcodes()
{
    return range(MetadataObjectType::code39, MetadataObjectType::qr);
}

} // namespace tamsel
