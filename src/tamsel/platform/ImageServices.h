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
    /// Decodes the pixels, anew each time.
    [[nodiscard]] virtual std::expected<std::shared_ptr<CGImage>, Error> decode() const = 0;
};

/// An image file that is looked at and not decoded. Thread-safe; the bytes that it was made from must outlive it.
class CGImageSource {
public:
    virtual ~CGImageSource() = default;

    /// The file's format as a uniform type identifier, for example "public.jpeg".
    [[nodiscard]] virtual std::optional<std::string> type() const = 0;
    /// Of the first image, as the file states them.
    [[nodiscard]] virtual PropertyDictionary copyProperties() const = 0;
    /// The whole file anew, in its own format, with the given properties set over those of its first image. No pixel is
    /// decoded: what is compressed stays as it is, byte for byte, and so does everything that the properties do not name.
    /// An error when this cannot be done.
    [[nodiscard]] virtual std::expected<std::vector<std::byte>, Error> rewritten(
        const PropertyDictionary& properties) const
        = 0;
};

/// How encoded data is understood.
struct CIImageOptions {
    /// kCIImageApplyOrientationProperty: whether the picture is turned upright as the data itself says.
    bool appliesOrientationProperty = false;
};

/// Reads and writes encoded pictures. Thread-safe.
class ImageServices {
public:
    virtual ~ImageServices() = default;

    /// Looks at the data no further than to know its kind, size and orientation; absent when it is no picture.
    [[nodiscard]] virtual std::shared_ptr<const EncodedImage> openImage(
        ImageData data, const CIImageOptions& options)
        = 0;
    /// Absent when the bytes are no image file.
    [[nodiscard]] virtual std::shared_ptr<const CGImageSource> makeImageSource(
        std::span<const std::byte> /*data*/)
    {
        return nullptr;
    }
    /// The picture as a PNG file without colour profile; absent when it cannot be encoded. Works on the calling thread.
    [[nodiscard]] virtual std::optional<std::vector<std::byte>> pngRepresentation(const UIImage& image) = 0;
};

} // namespace tamsel::platform
