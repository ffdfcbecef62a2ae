#include <host/metadata/HostDetector.h>

#include <host/ffmpeg/planes.h>
#include <host/metadata/CodeReader.h>
#include <host/metadata/CodeSearch.h>
#ifdef TAMSEL_FACES
#include <host/metadata/FaceFinder.h>
#include <host/metadata/FaceTracks.h>
#endif

#include <tamsel/metadata/MetadataObjectType.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
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

bool hasFace(const std::vector<AVMetadataObjectType>& types)
{
    return std::ranges::find(types, MetadataObjectType(MetadataObjectType::face).rawValue()) != types.end();
}

#ifdef TAMSEL_FACES
/// The faces of a stream.
class FaceLook {
public:
    explicit FaceLook(HostDetector::Effort effort) : effort_(effort) { }

    [[nodiscard]] AVMetadataObjects find(
        const LumaPicture& picture, int quarterTurns, std::chrono::nanoseconds captureTime)
    {
        std::vector<FaceBounds> bounds;
        for (const FoundFace& face : effort_ == HostDetector::Effort::live
                ? finder_.find(picture, quarterTurns)
                : finder_.search(picture, quarterTurns))
            bounds.push_back(face.bounds);
        AVMetadataObjects faces;
        const std::vector<std::int64_t> identifiers = tracks_.identify(bounds, captureTime);
        for (std::size_t index = 0; index < bounds.size(); ++index) {
            const FaceBounds& face = bounds[index];
            const CGRect relative{{face.left / picture.width, face.top / picture.height},
                {face.width / picture.width, face.height / picture.height}};
            faces.push_back(std::make_shared<AVMetadataFaceObject>(relative, identifiers[index]));
        }
        return faces;
    }

private:
    const HostDetector::Effort effort_;
    FaceFinder finder_;
    FaceTracks tracks_;
};
#else
class FaceLook {
public:
    explicit FaceLook(HostDetector::Effort /*effort*/) { }
    [[nodiscard]] AVMetadataObjects find(
        const LumaPicture& /*picture*/, int /*quarterTurns*/, std::chrono::nanoseconds /*captureTime*/)
    {
        return {};
    }
};
#endif

class HostDetection final : public engine::MetadataDetection {
public:
    HostDetection(const std::vector<AVMetadataObjectType>& types, HostDetector::Effort effort)
        : effort_(effort)
    {
        if (auto kinds = codesAmong(types); !kinds.empty())
            codes_.emplace(std::move(kinds));
        if (hasFace(types))
            faces_.emplace(effort);
    }

    void take(const Frame& frame) override
    {
        const CVPixelBuffer& pixels = frame.pixels;
        picture_.width = static_cast<int>(pixels.width());
        picture_.height = static_cast<int>(pixels.height());
        picture_.pixels.resize(pixels.width() * pixels.height());
        convertToLuma(pixels, picture_.pixels.data());
        quarterTurns_ = frame.quarterTurns;
        captureTime_ = frame.captureTime;
    }

    AVMetadataObjects detect() override
    {
        AVMetadataObjects objects;
        if (faces_)
            objects = faces_->find(picture_, quarterTurns_, captureTime_);
        if (!codes_)
            return objects;
        // After the faces: reading codes paints over the picture.
        for (FoundCode& code :
            effort_ == HostDetector::Effort::live ? codes_->read(picture_) : searchCodes(*codes_, picture_)) {
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

    const HostDetector::Effort effort_;
    std::optional<CodeReader> codes_;
    std::optional<FaceLook> faces_;
    LumaPicture picture_;
    int quarterTurns_ = 0;
    std::chrono::nanoseconds captureTime_{};
};

} // namespace

std::vector<AVMetadataObjectType> HostDetector::detectableTypes() const
{
    std::vector<AVMetadataObjectType> types;
    for (const MetadataObjectType kind : allBarcodes())
        types.emplace_back(kind.rawValue());
#ifdef TAMSEL_FACES
    types.emplace_back(MetadataObjectType(MetadataObjectType::face).rawValue());
#endif
    return types;
}

std::unique_ptr<engine::MetadataDetection> HostDetector::begin(std::vector<AVMetadataObjectType> types)
{
    return std::make_unique<HostDetection>(types, effort_);
}

} // namespace tamsel::host
