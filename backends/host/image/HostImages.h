#pragma once

#include <engine/capture/PhotoEncoder.h>

#include <tamsel/platform/ImageServices.h>

namespace tamsel::host {

/// Decodes and encodes pictures with the libraries of the host.
class HostImages final : public platform::ImageServices, public engine::PhotoEncoder {
public:
    [[nodiscard]] std::shared_ptr<const platform::EncodedImage> openImage(
        platform::ImageData data, const platform::CIImageOptions& options) override;
    [[nodiscard]] std::shared_ptr<const platform::CGImageSource> makeImageSource(
        std::span<const std::byte> data) override;
    [[nodiscard]] std::optional<std::vector<std::byte>> pngRepresentation(
        const platform::UIImage& image) override;
    /// A JPEG file.
    [[nodiscard]] std::optional<std::vector<std::byte>> encodePhoto(
        const platform::CVPixelBuffer& pixels, const platform::PropertyDictionary& properties) override;
};

} // namespace tamsel::host
