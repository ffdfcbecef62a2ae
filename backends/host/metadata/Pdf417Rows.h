#pragma once

#include <host/metadata/LumaPicture.h>
#include <host/metadata/Quadrilateral.h>

#include <array>

namespace tamsel::host {

/// Whether the rows of a PDF417 symbol (ISO/IEC 15438) run from its bottom to its top, as they do when a mirrored symbol was
/// taken for one that is turned: rows are read in any order, and each says its own number. Corners as they were read: top
/// left, top right, bottom right, bottom left.
[[nodiscard]] bool hasRowsUpwards(const LumaPicture& picture, const Quadrilateral& corners);

} // namespace tamsel::host
