#pragma once

#include <formats/ImageContainer.h>

namespace tamsel::formats {

/// WebP (RFC 9649) with an EXIF chunk. Only the extended form of the file can contain it, so simple files become
/// extended.
class WebPContainer final : public ImageContainer {
public:
    explicit WebPContainer(ByteView file);

    [[nodiscard]] std::expected<std::vector<Splice>, platform::Error> replaceExif(
        const std::vector<Splice>& changes) const override;

private:
    /// A chunk with its head and its padding.
    struct Chunk {
        std::size_t begin = 0;
        std::size_t end = 0;
        ByteView data;
    };

    void readChunk(std::string_view type, const Chunk& chunk);
    void readPicture(std::string_view type, ByteView data);
    void extend(std::vector<Splice>& changes) const;

    std::optional<Chunk> exifChunk_;
    std::optional<std::size_t> xmpBegin_;
    std::optional<std::size_t> extendedFlags_; ///< the offset of the flags of the extended form
    std::size_t chunksEnd_ = 0; ///< where a chunk can be added
    std::size_t prefixSize_ = 0; ///< of the bytes before the TIFF structure in the EXIF chunk
    bool isPaddingMissing_ = false; ///< behind the last chunk
    bool isCutOff_ = false;
    bool hasPicture_ = false;
    bool hasAlpha_ = false;
};

} // namespace tamsel::formats
