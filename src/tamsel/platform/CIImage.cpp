#include <tamsel/platform/CIImage.h>

#include <tamsel/platform/ImageServices.h>

namespace tamsel::platform {

std::optional<CIImage> CIImage::initWithData(
    ImageData data, const CIImageOptions& options, ImageServices& images)
{
    std::shared_ptr<const EncodedImage> encoded = images.openImage(std::move(data), options);
    if (!encoded)
        return std::nullopt;
    return CIImage(std::move(encoded));
}

CIImage CIImage::initWithCVImageBuffer(std::shared_ptr<CVBuffer> imageBuffer)
{
    return CIImage(std::shared_ptr<CGImage>(std::move(imageBuffer)));
}

CIImage CIImage::imageByApplyingTransform(const CGAffineTransform& transform) const
{
    CIImage moved = *this;
    moved.transform_ = CGAffineTransformConcat(transform_, transform);
    return moved;
}

CGSize CIImage::sourceSize() const
{
    if (const auto* pixels = std::get_if<std::shared_ptr<CGImage>>(&source_))
        return *pixels ? UIImage(*pixels).size() : CGSize{};
    return std::get<std::shared_ptr<const EncodedImage>>(source_)->size();
}

CGRect CIImage::extent() const
{
    return CGRectApplyAffineTransform({.origin = {}, .size = sourceSize()}, transform_);
}

} // namespace tamsel::platform
