#include <tamsel/photo/makeImage.h>

#include <tamsel/platform/Platform.h>

#include <utility>

namespace tamsel {

using namespace platform;

std::optional<OvriImage> makeImage(const CaptureSampleUpdate& captureSampleUpdate, Platform& platform)
{
    std::optional<CIImage> image = CIImage::initWithData(
        captureSampleUpdate.sharedSample(), {.appliesOrientationProperty = true}, platform.images);
    if (!image)
        return std::nullopt;
    return OvriImage(std::move(*image), captureSampleUpdate.source());
}

OvriImage makeImage(const OvriCaptureFrameUpdate& captureFrameUpdate)
{
    const CIImage frame = CIImage::initWithCVImageBuffer(captureFrameUpdate.imageBuffer());
    const CGAffineTransform transform = captureFrameUpdate.preferredTransform().value_or(CGAffineTransform{});
    return {frame.imageByApplyingTransform(transform), OvriImageSource::video};
}

} // namespace tamsel
