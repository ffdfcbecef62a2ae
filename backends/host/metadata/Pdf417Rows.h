#pragma once

#include <host/metadata/LumaPicture.h>
#include <host/metadata/Quadrilateral.h>

#include <optional>

namespace tamsel::host {

/// The outline of a PDF417 symbol of which a reader found the start pattern, and may have missed the stop pattern, as a whole
/// (both corners there are then at one place) or in most rows. Its end is then looked for in the picture; absent where none
/// shows. `corners` begin at the top of the start pattern and go around clockwise.
[[nodiscard]] std::optional<Quadrilateral> completed(
    const LumaPicture& picture, const Quadrilateral& corners);

/// The corners of a PDF417 symbol (ISO/IEC 15438) in its own order: top left, top right, bottom right, bottom left. The rows of a
/// symbol are read in any order, as each says its own number, so a reader may take a mirrored symbol for one that is turned.
/// `corners` as they were read, two after each other being the ends of the first or last row.
[[nodiscard]] Quadrilateral inOwnOrder(const LumaPicture& picture, const Quadrilateral& corners);

} // namespace tamsel::host
