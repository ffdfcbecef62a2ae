#include <simulated/SimulatedImages.h>

#include <engine/image/turnUpright.h>
#include <formats/ImageFile.h>
#include <formats/Orientation.h>
#include <formats/pngChunk.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

namespace tamsel::simulated {

using namespace platform;

namespace {

class Picture final : public EncodedImage {
public:
    Picture(std::shared_ptr<PictureScript> script, bool isUpright)
        : script_(std::move(script)),
          pixels_(!isUpright && script_->stored ? script_->stored : script_->pixels)
    {
    }

    [[nodiscard]] CGSize size() const override { return UIImage(pixels_).size(); }
    [[nodiscard]] std::expected<std::shared_ptr<CGImage>, Error> decode() const override
    {
        ++script_->decodes;
        if (!script_->canBeDecoded)
            return std::unexpected(Error{.localizedDescription = "the simulated picture is damaged"});
        return pixels_;
    }

private:
    const std::shared_ptr<PictureScript> script_;
    const std::shared_ptr<CGImage> pixels_;
};

/// For a file without a script: what its header states, and no pixels.
class UnknownPicture final : public EncodedImage {
public:
    explicit UnknownPicture(CGSize size) : size_(size) { }

    [[nodiscard]] CGSize size() const override { return size_; }
    [[nodiscard]] std::expected<std::shared_ptr<CGImage>, Error> decode() const override
    {
        return std::unexpected(Error{.localizedDescription = "the simulated phone has no codecs"});
    }

private:
    const CGSize size_;
};

std::string keyOf(std::span<const std::byte> data)
{
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

/// Makes a PNG file with uncompressed pixels.
class StoredPng {
public:
    explicit StoredPng(const CVPixelBuffer& pixels)
    {
        for (const char character : std::string_view("\x89PNG\r\n\x1a\n"))
            file_.push_back(static_cast<std::byte>(character));
        std::vector<std::uint8_t> header;
        appendWord(header, static_cast<std::uint32_t>(pixels.width()));
        appendWord(header, static_cast<std::uint32_t>(pixels.height()));
        for (const int value : {8, 2, 0, 0, 0}) // bits, RGB, compression, filter, interlace
            header.push_back(static_cast<std::uint8_t>(value));
        chunk("IHDR", header);
        chunk("IDAT", stored(rows(pixels)));
        chunk("IEND", {});
    }

    std::vector<std::byte> take() { return std::move(file_); }

private:
    static void appendWord(std::vector<std::uint8_t>& bytes, std::uint32_t word)
    {
        for (const unsigned shift : {24U, 16U, 8U, 0U})
            bytes.push_back(static_cast<std::uint8_t>(word >> shift));
    }

    static std::vector<std::uint8_t> rows(const CVPixelBuffer& pixels)
    {
        std::vector<std::uint8_t> result;
        for (std::size_t y = 0; y < pixels.height(); ++y) {
            result.push_back(0); // no filter
            for (std::size_t x = 0; x < pixels.width(); ++x) {
                for (const std::size_t channel : {2U, 1U, 0U})
                    result.push_back(std::to_integer<std::uint8_t>(pixels.pixel(x, y)[channel]));
            }
        }
        return result;
    }

    /// RFC 1950 and 1951: blocks of at most 65535 bytes, then Adler-32.
    static std::vector<std::uint8_t> stored(const std::vector<std::uint8_t>& content)
    {
        constexpr std::size_t longest = 65535;
        std::vector<std::uint8_t> result{0x78, 0x01};
        for (std::size_t at = 0; at < content.size() || at == 0; at += longest) {
            const std::size_t size = std::min(longest, content.size() - at);
            result.push_back(at + size == content.size() ? 1 : 0);
            for (const std::size_t value : {size, longest - size}) {
                result.push_back(static_cast<std::uint8_t>(value & 0xFFU));
                result.push_back(static_cast<std::uint8_t>(value >> 8U));
            }
            const auto first = content.begin() + static_cast<std::ptrdiff_t>(at);
            result.insert(result.end(), first, first + static_cast<std::ptrdiff_t>(size));
        }
        std::uint32_t low = 1;
        std::uint32_t high = 0;
        for (const std::uint8_t value : content) {
            low = (low + value) % 65521;
            high = (high + low) % 65521;
        }
        appendWord(result, (high << 16U) | low);
        return result;
    }

    void chunk(std::string_view name, const std::vector<std::uint8_t>& content)
    {
        formats::appendPngChunk(file_, name, std::as_bytes(std::span(content)));
    }

    std::vector<std::byte> file_;
};

std::shared_ptr<CGImage> uprightCopy(const CVPixelBuffer& stored, formats::Orientation orientation)
{
    const bool isTransposed = formats::isTransposed(orientation);
    auto copy = std::make_shared<CVPixelBuffer>(
        isTransposed ? stored.height() : stored.width(), isTransposed ? stored.width() : stored.height());
    engine::turnUpright(stored, *copy, orientation);
    return copy;
}

formats::Orientation orientationIn(const PropertyDictionary& properties)
{
    const PropertyValue* orientation = properties.find(kCGImagePropertyOrientation);
    return formats::orientationOf(orientation ? orientation->number().value_or(1) : 1);
}

} // namespace

void SimulatedImages::put(const std::vector<std::byte>& data, std::shared_ptr<PictureScript> picture)
{
    pictures_[keyOf(data)] = std::move(picture);
}

std::shared_ptr<const EncodedImage> SimulatedImages::openImage(ImageData data, const CIImageOptions& options)
{
    const auto found = pictures_.find(keyOf(*data));
    if (found != pictures_.end())
        return std::make_shared<const Picture>(found->second, options.appliesOrientationProperty);
    const PropertyDictionary properties = formats::readImageProperties(*data);
    const PropertyValue* width = properties.find(kCGImagePropertyPixelWidth);
    const PropertyValue* height = properties.find(kCGImagePropertyPixelHeight);
    if (!width || !height)
        return nullptr;
    const CGSize stored{width->number().value_or(0), height->number().value_or(0)};
    const bool isTurned
        = options.appliesOrientationProperty && formats::isTransposed(orientationIn(properties));
    return std::make_shared<const UnknownPicture>(isTurned ? CGSize{stored.height, stored.width} : stored);
}

/// A known picture stays known when its file is rewritten.
class SimulatedImages::Source final : public CGImageSource {
public:
    Source(std::shared_ptr<const formats::ImageFile> file, std::shared_ptr<PictureScript> picture,
        SimulatedImages& images)
        : file_(std::move(file)),
          picture_(std::move(picture)),
          images_(images)
    {
    }

    [[nodiscard]] std::optional<std::string> type() const override { return file_->type(); }
    [[nodiscard]] PropertyDictionary copyProperties() const override { return file_->copyProperties(); }
    [[nodiscard]] std::expected<std::vector<std::byte>, Error> rewritten(
        const PropertyDictionary& properties) const override
    {
        auto result = file_->rewritten(properties);
        if (result && picture_)
            images_.put(*result, pictureOf(*result));
        return result;
    }

private:
    /// Its stored pixels stay the same; another orientation rotates only the upright ones.
    [[nodiscard]] std::shared_ptr<PictureScript> pictureOf(const std::vector<std::byte>& result) const
    {
        const formats::Orientation orientation = orientationIn(formats::readImageProperties(result));
        if (orientation == orientationIn(file_->copyProperties()))
            return picture_;
        const std::shared_ptr<CGImage>& stored = picture_->stored ? picture_->stored : picture_->pixels;
        return std::make_shared<PictureScript>(
            uprightCopy(*stored, orientation), stored, picture_->canBeDecoded);
    }

    const std::shared_ptr<const formats::ImageFile> file_;
    const std::shared_ptr<PictureScript> picture_; ///< absent for bytes without a script
    SimulatedImages& images_;
};

std::shared_ptr<const CGImageSource> SimulatedImages::makeImageSource(std::span<const std::byte> data)
{
    auto file = formats::ImageFile::open(data);
    if (!file)
        return nullptr;
    const auto found = pictures_.find(keyOf(data));
    return std::make_shared<const Source>(
        std::move(file), found == pictures_.end() ? nullptr : found->second, *this);
}

std::optional<std::vector<std::byte>> SimulatedImages::encodePhoto(
    const CVPixelBuffer& pixels, const PropertyDictionary& properties)
{
    if (!encodes_ || pixels.width() == 0 || pixels.height() == 0)
        return std::nullopt;
    auto file = formats::rewriteImage(StoredPng(pixels).take(), properties);
    if (!file)
        return std::nullopt;
    put(*file,
        std::make_shared<PictureScript>(
            uprightCopy(pixels, orientationIn(properties)), uprightCopy(pixels, formats::upright)));
    return std::move(*file);
}

std::optional<std::vector<std::byte>> SimulatedImages::pngRepresentation(const UIImage& image)
{
    if (!encodes_ || image.cgImage()->width() == 0 || image.cgImage()->height() == 0)
        return std::nullopt;
    std::vector<std::byte> file = StoredPng(*image.cgImage()).take();
    put(file, std::make_shared<PictureScript>(image.cgImage()));
    return file;
}

} // namespace tamsel::simulated
