#include <host/metadata/HostDetector.h>

#include <host/metadata/CodeReader.h>
#include <host/metadata/CodeSearch.h>

#include <tamsel/metadata/MetadataObjectType.h>

#include <libyuv/convert_from_argb.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace tamsel::host {

using namespace platform;

namespace {

std::vector<MetadataObjectType> codesAmong(const std::vector<AVMetadataObjectType>& types)
{
    std::vector<MetadataObjectType> kinds;
    for (const AVMetadataObjectType& type : types) {
        if (const auto kind = MetadataObjectType::fromRawValue(type);
            kind && *kind != MetadataObjectType::face)
            kinds.push_back(*kind);
    }
    return kinds;
}

class HostDetection final : public engine::MetadataDetection {
public:
    HostDetection(const std::vector<AVMetadataObjectType>& types, HostDetector::Effort effort)
        : codes_(codesAmong(types)),
          effort_(effort)
    {
    }

    void take(const Frame& frame) override
    {
        const CVPixelBuffer& pixels = frame.pixels;
        picture_.width = static_cast<int>(pixels.width());
        picture_.height = static_cast<int>(pixels.height());
        picture_.pixels.resize(pixels.width() * pixels.height());
        libyuv::ARGBToJ400(reinterpret_cast<const std::uint8_t*>(pixels.baseAddress()),
            static_cast<int>(pixels.bytesPerRow()), picture_.pixels.data(), picture_.width, picture_.width,
            picture_.height);
    }

    AVMetadataObjects detect() override
    {
        AVMetadataObjects objects;
        // Reading codes paints over the picture.
        for (FoundCode& code : effort_ == HostDetector::Effort::live
                ? codes_.read(picture_)
                : searchCodes(codes_, std::move(picture_))) {
            std::vector<CGPoint> corners;
            for (const PicturePoint& corner : code.corners)
                corners.push_back(relative(corner));
            objects.push_back(std::make_shared<AVMetadataMachineReadableCodeObject>(
                std::string(code.kind.rawValue()), std::move(corners), std::move(code.text)));
        }
        return objects;
    }

private:
    [[nodiscard]] CGPoint relative(PicturePoint point) const
    {
        return {
            std::clamp(point.x / picture_.width, 0.0, 1.0), std::clamp(point.y / picture_.height, 0.0, 1.0)};
    }

    const CodeReader codes_;
    const HostDetector::Effort effort_;
    LumaPicture picture_;
};

} // namespace

std::vector<AVMetadataObjectType> HostDetector::detectableTypes() const
{
    std::vector<AVMetadataObjectType> types;
    for (const MetadataObjectType kind : allBarcodes())
        types.emplace_back(kind.rawValue());
    return types;
}

std::unique_ptr<engine::MetadataDetection> HostDetector::begin(std::vector<AVMetadataObjectType> types)
{
    return std::make_unique<HostDetection>(types, effort_);
}

} // namespace tamsel::host
