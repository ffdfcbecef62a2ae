#pragma once

#include <formats/fileBytes.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tamsel::formats {

/// A box of the ISO base media file format (ISO/IEC 14496-12, 4.2). The offsets are those of the file.
struct IsoBox {
    std::size_t begin = 0;
    std::size_t content = 0; ///< behind size and type
    std::size_t end = 0;
    std::string_view type; ///< four characters of the file
    bool isOpen = false; ///< without a size: it reaches to the end of the file
};

/// The boxes between two offsets, up to the first one that exceeds the end.
[[nodiscard]] std::vector<IsoBox> isoBoxes(ByteView file, std::size_t begin, std::size_t end);

/// Reads the numbers of a box one behind the other, highest byte first.
class IsoNumbers {
public:
    IsoNumbers(ByteView file, std::size_t begin, std::size_t end) : bytes_(file.first(end)), at_(begin) { }

    /// The number of this many bytes, up to eight; 0 behind the end.
    std::uint64_t next(std::size_t size);
    /// The offset of the next one.
    [[nodiscard]] std::size_t place() const { return at_; }
    /// Whether one was behind the end.
    [[nodiscard]] bool isPastEnd() const { return isPastEnd_; }

private:
    ByteView bytes_;
    std::size_t at_;
    bool isPastEnd_ = false;
};

} // namespace tamsel::formats
