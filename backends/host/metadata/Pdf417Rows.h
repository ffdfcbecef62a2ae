#pragma once

#include <host/metadata/LumaPicture.h>
#include <host/metadata/Quadrilateral.h>

namespace tamsel::host {

/// The corners of a PDF417 symbol (ISO/IEC 15438) in its own order: top left, top right, bottom right, bottom left. The rows of a
/// symbol are read in any order, as each says its own number, so a reader may take a mirrored symbol for one that is turned.
/// `corners` as they were read, two after each other being the ends of the first or last row.
[[nodiscard]] Quadrilateral inOwnOrder(const LumaPicture& picture, const Quadrilateral& corners);

} // namespace tamsel::host
