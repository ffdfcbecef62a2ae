#pragma once

#include <tamsel/platform/CGImageProperties.h>
#include <tamsel/platform/Error.h>
#include <tamsel/platform/Geometry.h>
#include <tamsel/platform/UIImage.h>

#include <cstddef>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tamsel::platform {

/// The bytes of an image file, shared and not copied.
using ImageData = std::shared_ptr<const std::vector<std::byte>>;

/// A picture in its encoded form. Thread-safe.
class EncodedImage {
public:
    virtual ~EncodedImage() = default;

    /// Pixels, upright when the orientation is applied.
    [[nodiscard]] virtual CGSize size() const = 0;
    /// Decodes the pixels again each time.
    [[nodiscard]] virtual std::expected<std::shared_ptr<CGImage>, Error> decode() const = 0;
};

/// An image file that is parsed but not decoded. Thread-safe; it refers to the bytes, which must outlive it.
class CGImageSource {
public:
    virtual ~CGImageSource() = default;

    /// The file's format as a uniform type identifier, for example "public.jpeg".
    [[nodiscard]] virtual std::optional<std::string> type() const = 0;
    /// Of the first image, as stored in the file.
    [[nodiscard]] virtual PropertyDictionary copyProperties() const = 0;
    /// A copy of the whole file, in its own format, with the given properties set over those of its first image. No
    /// pixel is decoded: compressed data stays the same, byte for byte, and so does everything without a given
    /// property. An error when this is not possible.
    [[nodiscard]] virtual std::expected<std::vector<std::byte>, Error> rewritten(
        const PropertyDictionary& properties) const
        = 0;
};

/// Options for decoding.
struct CIImageOptions {
    /// kCIImageApplyOrientationProperty: whether the picture is rotated upright by its own metadata.
    bool appliesOrientationProperty = false;
};

/// Reads and writes encoded pictures. Thread-safe.
class ImageServices {
public:
    virtual ~ImageServices() = default;

    /// Reads only the kind, size and orientation; absent when the data is not a picture.
    [[nodiscard]] virtual std::shared_ptr<const EncodedImage> openImage(
        ImageData data, const CIImageOptions& options)
        = 0;
    /// Absent when the bytes are not an image file.
    [[nodiscard]] virtual std::shared_ptr<const CGImageSource> makeImageSource(
        std::span<const std::byte> /*data*/)
    {
        return nullptr;
    }
    /// The picture as a PNG file without colour profile; absent when encoding fails. Works on the calling thread.
    [[nodiscard]] virtual std::optional<std::vector<std::byte>> pngRepresentation(const UIImage& image) = 0;
};

} // namespace tamsel::platform
