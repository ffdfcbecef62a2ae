#pragma once

#include <engine/capture/PhotoEncoder.h>

#include <tamsel/platform/ImageServices.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tamsel::simulated {

/// The picture for some bytes.
struct PictureScript {
    std::shared_ptr<platform::CGImage> pixels; ///< upright
    std::shared_ptr<platform::CGImage> stored = nullptr; ///< as stored, if that differs
    bool canBeDecoded = true; ///< otherwise only its header is valid
    int decodes = 0; ///< the number of times that the pixels were requested
};

/// Pictures without a codec: the bytes of a file are looked up. Encoded pictures can be opened again; each is a real
/// PNG file, not compressed (ISO/IEC 15948), and so is the file of a still. Metadata is really read and rewritten, in
/// any JPEG, PNG, WebP, TIFF, HEIC or AVIF file; an image of a file without a script has its size, and no pixels.
class SimulatedImages final : public platform::ImageServices, public engine::PhotoEncoder {
public:
    /// From now on these bytes are this picture.
    void put(const std::vector<std::byte>& data, std::shared_ptr<PictureScript> picture);
    /// Whether pictures can be encoded.
    void setEncodes(bool encodes) { encodes_ = encodes; }

    [[nodiscard]] std::shared_ptr<const platform::EncodedImage> openImage(
        platform::ImageData data, const platform::CIImageOptions& options) override;
    [[nodiscard]] std::shared_ptr<const platform::CGImageSource> makeImageSource(
        std::span<const std::byte> data) override;
    [[nodiscard]] std::optional<std::vector<std::byte>> pngRepresentation(
        const platform::UIImage& image) override;
    [[nodiscard]] std::optional<std::vector<std::byte>> encodePhoto(
        const platform::CVPixelBuffer& pixels, const platform::PropertyDictionary& properties) override;

private:
    class Source;

    std::map<std::string, std::shared_ptr<PictureScript>> pictures_; ///< by the bytes of their files
    bool encodes_ = true;
};

} // namespace tamsel::simulated
