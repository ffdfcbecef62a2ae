#pragma once

#include <tamsel/platform/Geometry.h>
#include <tamsel/platform/ImageServices.h>
#include <tamsel/platform/UIImage.h>

#include <memory>
#include <optional>
#include <utility>
#include <variant>

namespace tamsel::platform {

/// A recipe for a picture: a source of pixels and a transform. Nothing is decoded or drawn before it is rendered. Its
/// coordinate space is in pixels, with the origin at the lower left.
class CIImage {
public:
    using Source = std::variant<std::shared_ptr<CGImage>, std::shared_ptr<const EncodedImage>>;

    /// Absent when the data is not a picture.
    [[nodiscard]] static std::optional<CIImage> initWithData(
        ImageData data, const CIImageOptions& options, ImageServices& images);
    /// The image of these pixels, which it shares.
    [[nodiscard]] static CIImage initWithCVImageBuffer(std::shared_ptr<CVBuffer> imageBuffer);

    /// Adds a transform after those that were applied before.
    [[nodiscard]] CIImage imageByApplyingTransform(const CGAffineTransform& transform) const;

    [[nodiscard]] const Source& source() const { return source_; }
    /// Of the source, in pixels.
    [[nodiscard]] CGSize sourceSize() const;
    [[nodiscard]] const CGAffineTransform& transform() const { return transform_; }
    /// The smallest rectangle around the transformed picture; it may begin at a negative coordinate.
    [[nodiscard]] CGRect extent() const;

private:
    explicit CIImage(Source source) : source_(std::move(source)) { }

    Source source_;
    CGAffineTransform transform_;
};

} // namespace tamsel::platform
