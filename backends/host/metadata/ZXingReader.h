#pragma once

#include <host/metadata/LumaPicture.h>
#include <host/metadata/Quadrilateral.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// The symbologies that the code library tells apart.
enum class Symbology : std::uint8_t {
    code39,
    code93,
    code128,
    ean8,
    ean13, ///< and UPC-A, with a 0 before it
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

/// One read of a code. Corners begin at the code's own top left one and go around it clockwise, seen in the code. Those of a
/// linear code are the ends of the one line on which it was read.
struct CodeRead {
    Symbology symbology;
    Quadrilateral corners;
    std::optional<std::string> text; ///< UTF-8; absent when the payload is no text
};

/// Reads a part of a picture with ZXing-C++ 1.4, which ends the process when two linear codes of one kind and text are on
/// one picture. So it is asked for one linear code at a time, and matrix codes are asked for apart from them.
/// `symbologies` are either all linear or none is.
[[nodiscard]] std::vector<CodeRead> readWithZXing(
    const LumaPicture& picture, PictureArea area, const std::vector<Symbology>& symbologies);

} // namespace tamsel::host
