#pragma once

#include <formats/fileBytes.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tamsel::formats {

/// The types of values: TIFF 6.0, section 2; `directory` is that of Adobe's TIFF Technical Note 1, `utf8` that of
/// EXIF 3.0.
enum class TiffType : std::uint16_t {
    byte = 1,
    ascii = 2,
    shortInteger = 3,
    longInteger = 4,
    rational = 5,
    signedByte = 6,
    undefined = 7,
    signedShort = 8,
    signedLong = 9,
    signedRational = 10,
    real32 = 11,
    real64 = 12,
    directory = 13,
    utf8 = 129,
};

/// The size of one value in bytes; 0 for an unknown type.
[[nodiscard]] std::size_t sizeOf(TiffType type);

/// The tags that this code needs by itself.
namespace tiffTag {
inline constexpr std::uint16_t imageWidth = 0x0100;
inline constexpr std::uint16_t imageLength = 0x0101;
inline constexpr std::uint16_t orientation = 0x0112;
inline constexpr std::uint16_t subDirectories = 0x014A;
inline constexpr std::uint16_t exifDirectory = 0x8769;
inline constexpr std::uint16_t gpsDirectory = 0x8825;
} // namespace tiffTag

/// An entry of a directory as stored, valid or not.
struct TiffEntry {
    static constexpr std::size_t size = 12;

    std::size_t place = 0; ///< the offset of its twelve bytes
    std::uint16_t tag = 0;
    TiffType type{};
    std::uint32_t count = 0;
};

/// A directory as stored: its entries, and the offset of the next one.
struct TiffDirectory {
    std::size_t place = 0;
    std::vector<TiffEntry> entries; ///< in the order of the file
    std::uint32_t next = 0; ///< the offset of the next directory, or 0
    bool hasNext = true; ///< false when the block ends before the offset of the next directory

    /// The first entry of that tag.
    [[nodiscard]] const TiffEntry* find(std::uint16_t tag) const;
    /// The offset behind the entries.
    [[nodiscard]] std::size_t end() const { return place + 2 + TiffEntry::size * entries.size(); }
};

/// A view of a TIFF structure (TIFF 6.0): a whole file, or EXIF. Does not own the bytes.
class TiffBlock {
public:
    /// Absent when the header or the first directory exceeds the bytes.
    [[nodiscard]] static std::optional<TiffBlock> open(ByteView bytes);
    /// A header whose first directory is still to be added.
    [[nodiscard]] static TiffBlock fresh();

    [[nodiscard]] ByteView bytes() const { return bytes_; }
    [[nodiscard]] ByteOrder order() const { return order_; }
    [[nodiscard]] const TiffDirectory& first() const { return first_; }

    /// Absent when its entries exceed the bytes.
    [[nodiscard]] std::optional<TiffDirectory> directory(std::size_t place) const;
    /// The directory that an entry of the first directory points to; absent for an invalid pointer.
    [[nodiscard]] std::optional<TiffDirectory> directoryOf(std::uint16_t tag) const;
    /// Absent when the type is unknown or the value exceeds the bytes.
    [[nodiscard]] std::optional<ByteView> value(const TiffEntry& entry) const;
    /// The values of an entry of unsigned integers; empty for any other entry.
    [[nodiscard]] std::vector<std::uint32_t> numbers(const TiffEntry& entry) const;
    /// The single unsigned integer of an entry of the first directory; absent when there is none, or several.
    [[nodiscard]] std::optional<std::uint32_t> number(std::uint16_t tag) const;

    /// The first directory, the ones that follow it, and their subdirectories; each once, up to a limit.
    [[nodiscard]] std::vector<TiffDirectory> allDirectories() const;

private:
    TiffBlock(ByteView bytes, ByteOrder order) : bytes_(bytes), order_(order) { }

    ByteView bytes_;
    ByteOrder order_;
    TiffDirectory first_;
};

/// Whether entries of the tag contain offsets of directories.
[[nodiscard]] bool isDirectoryPointer(std::uint16_t tag);

/// Whether the bytes begin like a TIFF structure, in either byte order.
[[nodiscard]] bool hasTiffHeader(ByteView bytes);

} // namespace tamsel::formats
