#pragma once

#include <formats/isoBoxes.h>

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::formats {

/// An entry of the box iinf.
struct HeifItem {
    std::uint32_t id = 0;
    std::string_view type; ///< four characters of the file, or none
    bool isProtected = false;
};

/// An entry of the box iref: items that one item refers to.
struct HeifReference {
    std::string_view type;
    std::uint32_t from = 0;
    std::vector<std::uint32_t> to;
};

/// What the offsets of an item count from.
enum class HeifOrigin : std::uint8_t { file, dataBox, otherItem };

/// A piece of an item's data. The places are the offsets of these numbers in the file.
struct HeifExtent {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    std::size_t offsetPlace = 0;
    std::size_t lengthPlace = 0;
};

/// An entry of the box iloc.
struct HeifLocation {
    std::uint32_t id = 0;
    HeifOrigin origin{};
    bool isElsewhere = false; ///< in another file
    std::uint64_t base = 0; ///< is added to the offsets
    std::size_t originPlace = 0; ///< of two bytes; 0 without them
    std::size_t basePlace = 0;
    std::vector<HeifExtent> extents{};
};

/// The items of a HEIF or AVIF file (ISO/IEC 23008-12; AVIF 1.1), as its box meta describes them (ISO/IEC 14496-12,
/// 8.11). A view: does not own the bytes.
class HeifItems {
public:
    /// The error, one line, says what is damaged or unknown.
    [[nodiscard]] static std::expected<HeifItems, std::string> read(ByteView file);

    /// The boxes of the file, up to bytes behind them that are no box.
    [[nodiscard]] const std::vector<IsoBox>& fileBoxes() const { return fileBoxes_; }
    [[nodiscard]] const IsoBox& meta() const { return meta_; }
    /// The boxes inside meta.
    [[nodiscard]] const std::vector<IsoBox>& boxes() const { return boxes_; }
    /// The first box in meta of that type.
    [[nodiscard]] const IsoBox* box(std::string_view type) const;
    /// The version of a box that has one.
    [[nodiscard]] unsigned versionOf(const IsoBox& box) const;

    [[nodiscard]] std::uint32_t primary() const { return primary_; }
    [[nodiscard]] const std::vector<HeifItem>& items() const { return items_; }
    [[nodiscard]] const std::vector<HeifReference>& references() const { return references_; }
    [[nodiscard]] const std::vector<HeifLocation>& locations() const { return locations_; }
    [[nodiscard]] const HeifLocation* location(std::uint32_t id) const;
    /// The sizes of the numbers in iloc: 0, 4 or 8 bytes.
    [[nodiscard]] std::size_t offsetSize() const { return offsetSize_; }
    [[nodiscard]] std::size_t lengthSize() const { return lengthSize_; }
    [[nodiscard]] std::size_t baseSize() const { return baseSize_; }
    [[nodiscard]] std::size_t indexSize() const { return indexSize_; }

    /// The EXIF item that describes the primary item, or else the first that describes none.
    [[nodiscard]] const HeifItem* exif() const;
    /// The bytes of an item; absent if they are elsewhere, or exceed their source.
    [[nodiscard]] std::optional<std::vector<std::byte>> content(std::uint32_t id) const;
    /// The properties of the primary item (ISO/IEC 23008-12, 9.3), in the order in which they apply.
    [[nodiscard]] std::vector<IsoBox> primaryProperties() const;

private:
    explicit HeifItems(ByteView file) : file_(file) { }

    [[nodiscard]] std::optional<std::string> readBoxes();
    [[nodiscard]] bool readPrimary();
    [[nodiscard]] bool readItems();
    [[nodiscard]] bool readReferences();
    [[nodiscard]] bool readLocations();

    ByteView file_;
    std::vector<IsoBox> fileBoxes_;
    IsoBox meta_;
    std::vector<IsoBox> boxes_;
    std::uint32_t primary_ = 0;
    std::vector<HeifItem> items_;
    std::vector<HeifReference> references_;
    std::vector<HeifLocation> locations_;
    std::size_t offsetSize_ = 0;
    std::size_t lengthSize_ = 0;
    std::size_t baseSize_ = 0;
    std::size_t indexSize_ = 0;
};

/// The offset of the TIFF structure in the content of an EXIF item (ISO/IEC 23008-12, A.2.1); absent if it exceeds it.
[[nodiscard]] std::optional<std::size_t> exifBeginIn(ByteView content);

} // namespace tamsel::formats
