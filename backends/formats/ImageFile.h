#pragma once

#include <formats/imageMetadata.h>

#include <tamsel/platform/ImageServices.h>

#include <utility>

namespace tamsel::formats {

/// The bytes of an image file. Reads and rewrites its metadata, no pixels.
class ImageFile final : public platform::CGImageSource {
public:
    /// Absent when the format is unknown.
    [[nodiscard]] static std::shared_ptr<const ImageFile> open(
        std::span<const std::byte> data, Inflate inflate = {})
    {
        auto type = imageType(data);
        return type ? std::make_shared<const ImageFile>(data, std::move(*type), std::move(inflate)) : nullptr;
    }

    ImageFile(std::span<const std::byte> data, std::string type, Inflate inflate)
        : data_(data),
          type_(std::move(type)),
          inflate_(std::move(inflate))
    {
    }

    [[nodiscard]] std::optional<std::string> type() const override { return type_; }
    [[nodiscard]] platform::PropertyDictionary copyProperties() const override
    {
        return readImageProperties(data_, inflate_);
    }
    [[nodiscard]] std::expected<std::vector<std::byte>, platform::Error> rewritten(
        const platform::PropertyDictionary& properties) const override
    {
        return rewriteImage(data_, properties, inflate_);
    }

private:
    const std::span<const std::byte> data_;
    const std::string type_;
    const Inflate inflate_;
};

} // namespace tamsel::formats
