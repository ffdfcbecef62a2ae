#pragma once

#include <host/metadata/LumaPicture.h>
#include <host/metadata/Quadrilateral.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// The symbologies of the code library.
enum class Symbology : std::uint8_t {
    code39,
    code93,
    code128,
    ean8,
    ean13, ///< and UPC-A, with a leading 0
    interleaved2of5,
    upce,
    aztec,
    dataMatrix,
    pdf417,
    qr,
};

[[nodiscard]] constexpr bool isLinear(Symbology symbology)
{
    return symbology < Symbology::aztec;
}

/// One read of a code. Corners begin at the code's own top left one and continue clockwise, in the code's own
/// orientation. Those of a linear code are the ends of the one line on which it was read.
struct CodeRead {
    Symbology symbology;
    Quadrilateral corners;
    std::optional<std::string> text; ///< UTF-8; absent when the payload is not a text
};

/// Reads a part of a picture with ZXing-C++ 1.4, which aborts the process when two linear codes of one kind and text
/// are in one picture. So it reads one linear code at a time, and matrix codes separately. `symbologies` are either all
/// linear or all matrix codes.
[[nodiscard]] std::vector<CodeRead> readWithZXing(
    const LumaPicture& picture, PictureArea area, const std::vector<Symbology>& symbologies);

} // namespace tamsel::host
