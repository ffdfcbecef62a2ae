#pragma once

#include <host/metadata/LumaPicture.h>

#include <array>

namespace tamsel::host {

/// Corners one after the other around it, either way.
using Quadrilateral = std::array<PicturePoint, 4>;

[[nodiscard]] PicturePoint centre(const Quadrilateral& corners);
/// The same shape, larger around its centre.
[[nodiscard]] Quadrilateral grown(const Quadrilateral& corners, double factor);
/// For those that are convex.
[[nodiscard]] bool contains(const Quadrilateral& corners, PicturePoint point);
/// The part of a picture in which it is, with a margin.
[[nodiscard]] PictureArea surroundingsOf(const LumaPicture& picture, const Quadrilateral& corners);
/// Covers it with white, with the pixels that it cuts.
void cover(LumaPicture& picture, const Quadrilateral& corners);

} // namespace tamsel::host
