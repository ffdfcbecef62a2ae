#pragma once

#include <formats/HeifItems.h>
#include <formats/ImageContainer.h>

namespace tamsel::formats {

/// HEIC and AVIF (ISO/IEC 23008-12) with EXIF in an item that describes the primary item. New EXIF is stored in a box
/// mdat of its own, behind the last box with items or media; what follows keeps its distance to the end of the file.
class HeifContainer final : public ImageContainer {
public:
    explicit HeifContainer(ByteView file);

    [[nodiscard]] std::expected<std::vector<Splice>, platform::Error> replaceExif(
        const std::vector<Splice>& changes) const override;

private:
    class Edits;
    /// Where new EXIF is stored: between two boxes, or at the end of an mdat without a size.
    struct Place {
        std::size_t offset = 0; ///< in this file
        std::size_t headSize = 0; ///< of a new mdat
        std::size_t size = 0; ///< without its head
    };

    void readProperties();
    void readExif();
    [[nodiscard]] std::uint32_t freeId() const;
    [[nodiscard]] static std::vector<std::byte> newEntry(Edits& edits, std::uint32_t id);
    [[nodiscard]] std::vector<std::byte> newReference(Edits& edits, std::uint32_t id) const;
    [[nodiscard]] std::vector<std::byte> newLocation(
        Edits& edits, std::uint32_t id, std::size_t begin, std::size_t size) const;
    std::size_t addItem(Edits& edits, const Place& place) const;
    void replaceLocation(Edits& edits, const Place& place) const;
    void moveItems(Edits& edits, const Place& place, std::size_t growth) const;

    std::optional<HeifItems> items_;
    const HeifItem* exifItem_ = nullptr;
    std::vector<std::byte> content_; ///< of the EXIF item
};

} // namespace tamsel::formats
