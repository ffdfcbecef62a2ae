#include <host/image/HostImages.h>

#include <host/image/JpegWriter.h>
#include <host/image/PictureFormats.h>
#include <host/image/PngWriter.h>
#include <host/image/inflate.h>

#include <engine/image/turnUpright.h>
#include <formats/ImageFile.h>

#include <algorithm>
#include <array>
#include <exception>
#include <string>

namespace tamsel::host {

using namespace platform;

namespace {

Error sizeError(const PictureHeader& header)
{
    return {.localizedDescription = "The picture is too large: it has " + std::to_string(header.width) + " x "
            + std::to_string(header.height) + " pixels; up to " + std::to_string(maximumPixels)
            + " are decoded, and up to " + std::to_string(maximumSide) + " in a row or column"};
}

class HostPicture final : public EncodedImage {
public:
    HostPicture(ImageData data, const PictureFormat& format, const PictureHeader& header)
        : data_(std::move(data)),
          format_(format),
          header_(header)
    {
    }

    [[nodiscard]] CGSize size() const override
    {
        const auto width = static_cast<double>(header_.width);
        const auto height = static_cast<double>(header_.height);
        return formats::isTransposed(header_.orientation) ? CGSize{height, width} : CGSize{width, height};
    }

    [[nodiscard]] std::expected<std::shared_ptr<CGImage>, Error> decode() const override
    {
        if (header_.isTooLarge())
            return std::unexpected(sizeError(header_));
        try {
            auto stored = std::make_shared<CVPixelBuffer>(header_.width, header_.height);
            if (auto result = format_.decode(*data_, *stored); !result)
                return std::unexpected(std::move(result.error()));
            if (header_.orientation == formats::upright)
                return stored;
            const CGSize turnedSize = size();
            auto turned = std::make_shared<CVPixelBuffer>(
                static_cast<std::size_t>(turnedSize.width), static_cast<std::size_t>(turnedSize.height));
            engine::turnUpright(*stored, *turned, header_.orientation);
            return turned;
        } catch (const std::exception& exception) {
            return std::unexpected(pictureError("of any format", exception.what()));
        } catch (...) {
            return std::unexpected(pictureError("of any format", "its decoder failed"));
        }
    }

private:
    ImageData data_;
    PictureFormat format_;
    PictureHeader header_;
};

std::optional<PictureHeader> readHeader(const PictureFormat& format, Bytes picture)
{
    try {
        const auto header = format.readHeader(picture);
        return header && header->width > 0 && header->height > 0 ? header : std::nullopt;
    } catch (...) {
        return std::nullopt;
    }
}

} // namespace

Error pictureError(std::string_view format, std::string_view reason)
{
    std::string line("The picture (");
    line.append(format).append(") cannot be decoded: ").append(reason);
    std::ranges::replace(line, '\n', ' ');
    return {.localizedDescription = std::move(line)};
}

std::shared_ptr<const EncodedImage> HostImages::openImage(ImageData data, const CIImageOptions& options)
{
    const std::array formats{
        jpegFormat(), pngFormat(), webPFormat(), tiffFormat(), bitmapFormat(), gifFormat(),
#ifdef TAMSEL_HEIF
        options.appliesOrientationProperty ? heifFormat() : heifAsStoredFormat()
#endif
    };
    if (!data)
        return nullptr;
    for (const PictureFormat& format : formats) {
        if (auto header = readHeader(format, *data)) {
            if (!options.appliesOrientationProperty)
                header->orientation = formats::upright;
            return std::make_shared<HostPicture>(std::move(data), format, *header);
        }
    }
    return nullptr;
}

std::shared_ptr<const CGImageSource> HostImages::makeImageSource(std::span<const std::byte> data)
{
    return formats::ImageFile::open(data, inflate);
}

std::optional<std::vector<std::byte>> HostImages::encodePhoto(
    const CVPixelBuffer& pixels, const PropertyDictionary& properties)
{
    try {
        const auto picture = writeJpeg(pixels);
        if (!picture)
            return std::nullopt;
        auto file = formats::rewriteImageUnchecked(picture->bytes(), properties); // our own encoder
        return file ? std::optional(std::move(*file)) : std::nullopt;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<std::vector<std::byte>> HostImages::pngRepresentation(const UIImage& image)
{
    try {
        return image.cgImage() ? writePng(*image.cgImage()) : std::nullopt;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace tamsel::host
