#pragma once

#include <formats/TiffBlock.h>

#include <optional>
#include <string>
#include <vector>

namespace tamsel::formats {

/// Why a damaged structure would mean something else after these changes, in one line; absent where it would not. New bytes
/// come behind its end, so a value that reaches beyond the end would be completed by them; and a first directory that
/// moves leaves a copy that other pointers still find. A reader of a whole file also uses a strip that is cut off; EXIF has
/// no strips.
[[nodiscard]] std::optional<std::string> hazardOf(
    const TiffBlock& block, const std::vector<Splice>& changes, bool isFile);

} // namespace tamsel::formats
