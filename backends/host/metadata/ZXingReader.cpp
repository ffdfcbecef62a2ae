#include <host/metadata/ZXingReader.h>

#include <host/metadata/Pdf417Rows.h>

#define ZX_USE_UTF8
#include <ZXing/ReadBarcode.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace tamsel::host {

namespace {

constexpr std::array<std::pair<Symbology, ZXing::BarcodeFormat>, 11> formats{{
    {Symbology::code39, ZXing::BarcodeFormat::Code39},
    {Symbology::code93, ZXing::BarcodeFormat::Code93},
    {Symbology::code128, ZXing::BarcodeFormat::Code128},
    {Symbology::ean8, ZXing::BarcodeFormat::EAN8},
    {Symbology::ean13, ZXing::BarcodeFormat::EAN13},
    {Symbology::interleaved2of5, ZXing::BarcodeFormat::ITF},
    {Symbology::upce, ZXing::BarcodeFormat::UPCE},
    {Symbology::aztec, ZXing::BarcodeFormat::Aztec},
    {Symbology::dataMatrix, ZXing::BarcodeFormat::DataMatrix},
    {Symbology::pdf417, ZXing::BarcodeFormat::PDF417},
    {Symbology::qr, ZXing::BarcodeFormat::QRCode},
}};

ZXing::BarcodeFormat formatOf(Symbology symbology)
{
    for (const auto& [ours, theirs] : formats) {
        if (ours == symbology)
            return theirs;
    }
    return ZXing::BarcodeFormat::None;
}

std::optional<Symbology> symbologyOf(ZXing::BarcodeFormat format)
{
    for (const auto& [ours, theirs] : formats) {
        if (theirs == format)
            return ours;
    }
    return std::nullopt;
}

} // namespace

std::vector<CodeRead> readWithZXing(
    const LumaPicture& picture, PictureArea area, const std::vector<Symbology>& symbologies)
{
    if (symbologies.empty() || area.width() <= 0 || area.height() <= 0)
        return {};
    ZXing::BarcodeFormats wanted;
    for (const Symbology symbology : symbologies)
        wanted |= formatOf(symbology);
    ZXing::DecodeHints hints;
    hints.setFormats(wanted).setTryHarder(true).setTryRotate(true).setTryDownscale(false);
    if (isLinear(symbologies.front()))
        hints.setMaxNumberOfSymbols(1);

    const ZXing::ImageView view(picture.row(area.top) + area.left, area.width(), area.height(),
        ZXing::ImageFormat::Lum, picture.width);

    std::vector<CodeRead> reads;
    try {
        for (const ZXing::Result& result : ZXing::ReadBarcodes(view, hints)) {
            const std::optional<Symbology> symbology = symbologyOf(result.format());
            if (!symbology || !result.isValid())
                continue;
            CodeRead read{.symbology = *symbology, .corners = {}, .text = result.text()};
            for (std::size_t index = 0; index < read.corners.size(); ++index) {
                const ZXing::PointI corner = result.position()[index];
                read.corners[index]
                    = {static_cast<double>(area.left + corner.x), static_cast<double>(area.top + corner.y)};
            }
            // A symbol that was read in a mirror has the corners of its mirror image.
            if (result.isMirrored() && *symbology == Symbology::qr)
                std::swap(read.corners[1], read.corners[3]);
            else if (result.isMirrored())
                std::swap(read.corners[0], read.corners[2]);
            if (*symbology == Symbology::pdf417) {
                const auto outline = completed(picture, read.corners);
                if (!outline)
                    continue;
                read.corners = *outline;
            }
            reads.push_back(std::move(read));
        }
    } catch (const std::exception&) {
        // A picture that the library cannot handle has no result.
        reads.clear();
    }
    return reads;
}

} // namespace tamsel::host
