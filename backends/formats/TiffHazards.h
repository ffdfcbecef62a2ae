#pragma once

#include <formats/TiffBlock.h>

#include <optional>
#include <string>
#include <vector>

namespace tamsel::formats {

/// The reason why these changes would alter the meaning of a damaged structure, in one line; absent if they would not.
/// New bytes are appended, so they would complete a value that reaches beyond the end; and a first directory that moves
/// leaves a copy that other pointers still find. A reader of a whole file also uses a truncated strip; EXIF has no
/// strips.
[[nodiscard]] std::optional<std::string> hazardOf(
    const TiffBlock& block, const std::vector<Splice>& changes, bool isFile);

} // namespace tamsel::formats
