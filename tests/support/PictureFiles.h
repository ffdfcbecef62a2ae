#pragma once

#include <formats/TiffBlock.h>

#include <string>
#include <string_view>
#include <vector>

namespace tamsel::tests {

using Bytes = std::vector<std::byte>;

[[nodiscard]] Bytes bytesOf(std::string_view text);
[[nodiscard]] Bytes join(const std::vector<Bytes>& parts);
/// Where a text first is; fails the test when it is nowhere.
[[nodiscard]] std::size_t placeOf(const Bytes& file, std::string_view text);

/// Puts a TIFF structure together from its end to its beginning: values and directories first, what points to them then.
class TiffBuilder {
public:
    struct Entry {
        std::uint16_t tag = 0;
        formats::TiffType type{};
        std::uint32_t count = 0;
        Bytes value; ///< where it is longer than four bytes, it is put before the directory
    };

    explicit TiffBuilder(formats::ByteOrder order);

    [[nodiscard]] Bytes numbers(const std::vector<std::uint32_t>& values, std::size_t size = 4) const;
    [[nodiscard]] Entry text(std::uint16_t tag, std::string_view text) const;
    [[nodiscard]] Entry shortInteger(std::uint16_t tag, std::uint32_t value) const;
    [[nodiscard]] Entry longInteger(std::uint16_t tag, std::size_t value) const;
    [[nodiscard]] Entry rationals(std::uint16_t tag, const std::vector<std::uint32_t>& numbers) const;

    /// Returns the place.
    std::size_t add(const Bytes& bytes);
    /// In the order given.
    std::size_t addDirectory(const std::vector<Entry>& entries, std::size_t next = 0);
    /// With the first directory.
    [[nodiscard]] Bytes finish(std::size_t first);

private:
    formats::ByteOrder order_;
    Bytes bytes_;
};

/// EXIF of a phone: Make, Software and an unknown entry in no order, a thumbnail, Exif with a maker note and an exposure
/// of 10/30, and a directory that a private entry points to.
[[nodiscard]] Bytes phoneExif(formats::ByteOrder order);

[[nodiscard]] Bytes jpegSegment(unsigned marker, const Bytes& content);
[[nodiscard]] Bytes exifSegment(const Bytes& block);
/// The segments before the frame, then a picture of 8 by 4 pixels that nobody can decode.
[[nodiscard]] Bytes jpeg(const std::vector<Bytes>& segments, std::string_view behind = {});

/// The checksum is right.
[[nodiscard]] Bytes pngChunk(std::string_view type, const Bytes& data);
[[nodiscard]] Bytes png(
    const std::vector<Bytes>& beforePicture, const std::vector<Bytes>& behindPicture = {});

[[nodiscard]] Bytes webPChunk(std::string_view type, const Bytes& data);
[[nodiscard]] Bytes webP(const std::vector<Bytes>& chunks);
/// 8 by 4 pixels.
[[nodiscard]] Bytes lossyPicture();
[[nodiscard]] Bytes losslessPictureWithAlpha();

/// Two pages with a strip each, and a smaller picture below the first.
[[nodiscard]] Bytes tiffFile(formats::ByteOrder order);

} // namespace tamsel::tests
