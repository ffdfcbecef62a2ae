#pragma once

#include <host/metadata/LumaPicture.h>
#include <host/metadata/Quadrilateral.h>

#include <optional>

namespace tamsel::host {

/// The outline of a PDF417 symbol whose start pattern was found. The reader may have missed the stop pattern completely
/// (both corners there are the same) or in most rows; its end is then searched for in the picture, and absent if there
/// is none. `corners` begin at the top of the start pattern and continue clockwise.
[[nodiscard]] std::optional<Quadrilateral> completed(
    const LumaPicture& picture, const Quadrilateral& corners);

/// The corners of a PDF417 symbol (ISO/IEC 15438) in its own order: top left, top right, bottom right, bottom left.
/// Rows contain their numbers and are read in any order, so a reader may take a mirrored symbol for a rotated one.
/// `corners` as they were read; two consecutive ones are the ends of the first or last row.
[[nodiscard]] Quadrilateral inOwnOrder(const LumaPicture& picture, const Quadrilateral& corners);

} // namespace tamsel::host
