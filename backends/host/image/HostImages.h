#pragma once

#include <tamsel/platform/CIImage.h>

namespace tamsel::host {

/// Pictures of the machine.
class HostImages final : public platform::ImageServices {
public:
    [[nodiscard]] std::shared_ptr<const platform::EncodedImage> openImage(
        platform::ImageData data, const platform::CIImageOptions& options) override;
    [[nodiscard]] std::optional<std::vector<std::byte>> pngRepresentation(
        const platform::UIImage& image) override;
};

} // namespace tamsel::host
