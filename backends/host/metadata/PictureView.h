#pragma once

#include <host/metadata/LumaPicture.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace tamsel::host {

/// How a part of a picture is looked at that does not read as it stands.
struct ViewAngle {
    double scale = 1; ///< size of the view by that of the picture
    double degrees = 0; ///< how far the picture is turned for it, counterclockwise
    bool isMirrored = false; ///< left and right exchanged, after turning
    bool isInverted = false; ///< light and dark exchanged
};

/// An area of a picture as it looks when turned around its middle, scaled, and so on. Shows what is around the area where that
/// comes into view; what is outside of the picture looks like its edge.
class PictureView {
public:
    PictureView(const LumaPicture& picture, PictureArea area, ViewAngle angle);

    [[nodiscard]] LumaPicture& picture() { return view_; }
    /// Where a point of the view is in the picture.
    [[nodiscard]] PicturePoint toPicture(PicturePoint point) const;

private:
    PicturePoint middle_; ///< of the area
    PicturePoint viewMiddle_;
    PicturePoint right_; ///< in the picture, for one pixel to the right in the view
    PicturePoint down_;
    LumaPicture view_;
};

/// Pixels of such a view. Turned by 45 degrees, a strip needs far more of them than it has itself.
[[nodiscard]] std::int64_t viewSize(PictureArea area, ViewAngle angle);

/// A strip cut across into pieces up to four times as long as wide, which overlap by their width; any other area whole.
[[nodiscard]] std::vector<PictureArea> piecesOf(PictureArea area);

/// How far the edges in an area are turned from the upright and the level, in degrees, counterclockwise, -45 to 45: that of a
/// code in it. Absent when they have no common direction, as in noise.
[[nodiscard]] std::optional<double> tiltOf(const LumaPicture& picture, PictureArea area);

/// Half as wide and high, each pixel the mean of four.
[[nodiscard]] LumaPicture halved(const LumaPicture& picture);

/// Each place's darkest and lightest surroundings drawn apart to black and white, places without contrast to white: evens out
/// uneven light and grey paper.
[[nodiscard]] LumaPicture evened(const LumaPicture& picture);

} // namespace tamsel::host
