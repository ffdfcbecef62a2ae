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

[[nodiscard]] Bytes isoBox(std::string_view type, const Bytes& content, bool isLarge = false);

/// A HEIF file, put together from its items. The first one is the primary picture: of 8 by 4 pixels, to be turned
/// clockwise.
struct HeifFile {
    struct Item {
        std::uint32_t id = 0;
        std::string_view type;
        unsigned origin = 0; ///< as in iloc
        std::size_t source = 0; ///< which of the media; the offset for any other origin
        std::size_t length = 0;
        std::size_t base = 10; ///< where the file has bases; the offset counts from it
        std::size_t firstLength = 0; ///< of the first of two extents
        std::size_t offset = 0; ///< in the medium
    };
    struct Reference {
        std::string_view type;
        std::uint32_t from = 0;
        std::uint32_t to = 0;
    };
    struct Medium {
        Bytes data;
        bool isLarge = false; ///< has a size of 64 bits
    };

    unsigned version = 0; ///< of iloc
    bool isWide = false; ///< numbers of items have 32 bits, sizes of boxes 64
    std::size_t offsetSize = 4;
    std::size_t lengthSize = 4;
    std::size_t baseSize = 0;
    std::size_t indexSize = 0;
    std::uint32_t group = 0; ///< the number of a group of items, if there is one
    std::vector<Item> items{};
    std::vector<Reference> references{};
    Bytes front{}; ///< before meta and the media
    std::vector<Medium> media{}; ///< each is a box
    std::size_t mediaBeforeMeta = 0;
    bool isLastOpen = false; ///< the last box of media has no size
    Bytes behind{};

    [[nodiscard]] Bytes bytes() const;

private:
    [[nodiscard]] Bytes meta(const std::vector<std::size_t>& places) const;
};

/// A primary picture, a thumbnail in two extents, one in `idat` and one that is part of another.
[[nodiscard]] HeifFile heifFile(unsigned version);
/// And EXIF, in a box behind those, with a prefix that its offset counts.
[[nodiscard]] HeifFile heifFileWithExif();

/// Two pages with a strip each, and a smaller picture below the first.
[[nodiscard]] Bytes tiffFile(formats::ByteOrder order);

} // namespace tamsel::tests
