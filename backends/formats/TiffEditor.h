#pragma once

#include <formats/TiffBlock.h>

#include <array>
#include <optional>
#include <vector>

namespace tamsel::formats {

/// A value as a directory holds it; the bytes in the block's order.
struct TiffValue {
    TiffType type{};
    std::uint32_t count = 0;
    std::vector<std::byte> bytes;
};

/// Changes to one directory of a block. No byte of the block moves: a new value of an entry that is there is put behind
/// the block (or into the entry, up to four bytes); with a new entry, so is the directory. What the block's other
/// offsets point at, also those that only a camera's maker knows, stays where it is.
class TiffDirectoryEditor {
public:
    /// Without a directory one is made.
    TiffDirectoryEditor(const TiffBlock& block, std::optional<TiffDirectory> directory);

    /// In place of the value of every entry of the tag, or in a new entry.
    void set(std::uint16_t tag, TiffValue value);
    /// The offset of another directory, in place of the first entry of the tag, or in a new entry.
    void setPointer(std::uint16_t tag, std::size_t place);

    [[nodiscard]] bool has(std::uint16_t tag) const;
    [[nodiscard]] bool isChanged() const { return isChanged_; }
    [[nodiscard]] bool isMoved() const { return isMoved_; }
    [[nodiscard]] const std::optional<TiffDirectory>& directory() const { return directory_; }
    /// How many bytes come behind the block; even. A pointer takes none.
    [[nodiscard]] std::size_t addedSize() const;
    /// Adds the changes of the directory, and what comes behind the block, whose first byte will be at `base`.
    void write(std::size_t base, std::vector<Splice>& changes, std::vector<std::byte>& added) const;

private:
    struct Slot {
        std::uint16_t tag = 0;
        std::array<std::byte, TiffEntry::size> raw{};
        std::optional<std::size_t> place; ///< absent for a new entry
        std::optional<std::size_t> value; ///< the new one's index
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
