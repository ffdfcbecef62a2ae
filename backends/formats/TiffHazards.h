#pragma once

#include <formats/TiffBlock.h>

#include <optional>
#include <string>
#include <vector>

namespace tamsel::formats {

/// Why a damaged structure would mean something else after these changes, in one line; absent where it would not. New bytes
/// come behind its end, so what reaches beyond that would be completed by them; and a first directory that moves leaves
/// its copy to whoever else points at it. A reader of a whole file makes something of a strip that is cut off, too; EXIF
/// states nothing of strips.
[[nodiscard]] std::optional<std::string> hazardOf(
    const TiffBlock& block, const std::vector<Splice>& changes, bool isFile);

} // namespace tamsel::formats
