#pragma once

#include <host/metadata/LumaPicture.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace tamsel::host {

/// A view of a part of a picture that does not read as it is.
struct ViewAngle {
    double scale = 1; ///< size of the view by that of the picture
    double degrees = 0; ///< the rotation of the picture, counterclockwise
    bool isMirrored = false; ///< left and right exchanged, after the rotation
    bool isInverted = false; ///< light and dark exchanged
};

/// An area of a picture, rotated around its middle, scaled, and so on. Shows the surroundings of the area where they
/// come into view; pixels outside of the picture repeat its edge.
class PictureView {
public:
    PictureView(const LumaPicture& picture, PictureArea area, ViewAngle angle);

    [[nodiscard]] LumaPicture& picture() { return view_; }
    /// The position of a point of the view in the picture.
    [[nodiscard]] PicturePoint toPicture(PicturePoint point) const;

private:
    PicturePoint middle_; ///< of the area
    PicturePoint viewMiddle_;
    PicturePoint right_; ///< in the picture, for one pixel to the right in the view
    PicturePoint down_;
    LumaPicture view_;
};

/// The pixels of such a view. Rotated by 45 degrees, a strip needs far more of them than it has itself.
[[nodiscard]] std::int64_t viewSize(PictureArea area, ViewAngle angle);

/// A strip, cut into overlapping pieces up to four times as long as wide, which overlap by their width; any other area
/// whole.
[[nodiscard]] std::vector<PictureArea> piecesOf(PictureArea area);

/// The angle of the edges in an area from the vertical and the horizontal, in degrees, counterclockwise, -45 to 45:
/// that of a code in it. Absent when they have no common direction, as in noise.
[[nodiscard]] std::optional<double> tiltOf(const LumaPicture& picture, PictureArea area);

/// Half as wide and high, each pixel the mean of four.
[[nodiscard]] LumaPicture halved(const LumaPicture& picture);

/// Stretches the contrast of each place's surroundings to black and white, and makes places without contrast white:
/// evens out uneven light and grey paper.
[[nodiscard]] LumaPicture evened(const LumaPicture& picture);

} // namespace tamsel::host
