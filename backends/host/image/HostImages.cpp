#include <host/image/HostImages.h>

namespace tamsel::host {

using namespace platform;

std::shared_ptr<const EncodedImage> HostImages::openImage(
    ImageData /*data*/, const CIImageOptions& /*options*/)
{
    return nullptr;
}

std::optional<std::vector<std::byte>> HostImages::pngRepresentation(const UIImage& /*image*/)
{
    return std::nullopt;
}

} // namespace tamsel::host
