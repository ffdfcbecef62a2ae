#pragma once

#include <host/metadata/LumaPicture.h>

#include <vector>

namespace tamsel::host {

/// The parts of a picture that stand out from a plain surrounding by strong contrasts, as a printed code does from its quiet
/// zone; the largest first, each with a margin.
[[nodiscard]] std::vector<PictureArea> busyAreas(const LumaPicture& picture);

} // namespace tamsel::host
