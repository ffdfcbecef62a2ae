#pragma once

#include <formats/TiffBlock.h>

#include <array>
#include <optional>
#include <vector>

namespace tamsel::formats {

/// A value as stored in a directory; the bytes in the block's order.
struct TiffValue {
    TiffType type{};
    std::uint32_t count = 0;
    std::vector<std::byte> bytes;
};

/// Changes to one directory of a block. No byte of the block moves: a new value of an existing entry is appended to the
/// block (or stored in the entry, up to four bytes); with a new entry, the directory is appended, too. The targets of
/// all other offsets, also of those in maker notes, keep their places.
class TiffDirectoryEditor {
public:
    /// Without a directory one is made.
    TiffDirectoryEditor(const TiffBlock& block, std::optional<TiffDirectory> directory);

    /// Replaces the value of every entry of the tag, or adds an entry.
    void set(std::uint16_t tag, TiffValue value);
    /// The offset of another directory; replaces the first entry of the tag, or adds an entry.
    void setPointer(std::uint16_t tag, std::size_t place);

    [[nodiscard]] bool has(std::uint16_t tag) const;
    [[nodiscard]] bool isChanged() const { return isChanged_; }
    [[nodiscard]] bool isMoved() const { return isMoved_; }
    [[nodiscard]] const std::optional<TiffDirectory>& directory() const { return directory_; }
    /// The number of bytes behind the block; even. A pointer takes none.
    [[nodiscard]] std::size_t addedSize() const;
    /// Adds the changes of the directory, and the bytes behind the block, whose first one will be at `base`.
    void write(std::size_t base, std::vector<Splice>& changes, std::vector<std::byte>& added) const;

private:
    struct Slot {
        std::uint16_t tag = 0;
        std::array<std::byte, TiffEntry::size> raw{};
        std::optional<std::size_t> place; ///< absent for a new entry
        std::optional<std::size_t> value; ///< the index of the new one
    };

    Slot& slotOf(std::uint16_t tag);
    [[nodiscard]] std::vector<std::byte> entryBytes(const Slot& slot, std::size_t valuePlace) const;
    [[nodiscard]] std::size_t directorySize() const;

    ByteView bytes_;
    ByteOrder order_;
    std::optional<TiffDirectory> directory_;
    std::vector<Slot> slots_;
    std::vector<TiffValue> values_;
    bool isChanged_ = false;
    bool isMoved_ = false;
};

} // namespace tamsel::formats
