#pragma once

#include <formats/ImageContainer.h>

#include <string_view>

namespace tamsel::formats {

/// PNG (third edition) with EXIF in an eXIf chunk, or, from older programs, as hexadecimal digits in a text chunk ("Raw
/// profile type exif"), which becomes an eXIf chunk. Checksums of unchanged chunks are not verified.
class PngContainer final : public ImageContainer {
public:
    PngContainer(ByteView file, const Inflate& inflate);

    [[nodiscard]] std::expected<std::vector<Splice>, platform::Error> replaceExif(
        const std::vector<Splice>& changes) const override;

private:
    /// A chunk with its length, type and checksum.
    struct Chunk {
        std::size_t begin = 0;
        std::size_t end = 0;
        ByteView data;
    };

    void readChunks();
    void readProfile(const Inflate& inflate);

    std::optional<Chunk> exifChunk_;
    std::vector<Chunk> profileChunks_; ///< with any content
    std::optional<Chunk> profileChunk_; ///< the one whose EXIF counts
    std::size_t headerEnd_ = 0; ///< of the chunk IHDR
    std::size_t pictureBegin_ = 0; ///< of the first chunk with picture data; 0 without one
    std::size_t prefixSize_ = 0; ///< of the bytes before the TIFF structure in the eXIf chunk
    std::vector<std::byte> profile_;
};

} // namespace tamsel::formats
