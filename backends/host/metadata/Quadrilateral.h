#pragma once

#include <host/metadata/LumaPicture.h>

#include <array>

namespace tamsel::host {

/// Consecutive corners, in either direction.
using Quadrilateral = std::array<PicturePoint, 4>;

[[nodiscard]] PicturePoint centre(const Quadrilateral& corners);
/// The same shape, larger around its centre.
[[nodiscard]] Quadrilateral grown(const Quadrilateral& corners, double factor);
/// For convex ones.
[[nodiscard]] bool contains(const Quadrilateral& corners, PicturePoint point);
/// The part of a picture that contains it, with a margin.
[[nodiscard]] PictureArea surroundingsOf(const LumaPicture& picture, const Quadrilateral& corners);
/// Paints it white, with the pixels that it cuts.
void cover(LumaPicture& picture, const Quadrilateral& corners);

} // namespace tamsel::host
