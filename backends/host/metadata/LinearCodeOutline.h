#pragma once

#include <host/metadata/LumaPicture.h>
#include <host/metadata/Quadrilateral.h>

#include <array>

namespace tamsel::host {

/// The outline of a linear code, along its lines: the start and the end of its first and its last bar.
class LinearCodeOutline {
public:
    /// Follows the bars both ways from the line on which the code was read, from the middle of the line's start to that
    /// of its end, along rows or columns of the picture.
    LinearCodeOutline(const LumaPicture& picture, PicturePoint lineStart, PicturePoint lineEnd);

    /// In pixels: the length of the bars. A line of noise has no bars.
    [[nodiscard]] double barLength() const;

    /// From the code's own top left corner, clockwise in the code's own orientation.
    [[nodiscard]] Quadrilateral corners() const;

    /// The angle of the bars from an axis of the picture, in degrees, counterclockwise, -45 to 45.
    [[nodiscard]] double barsLean() const;

    /// Whether it is light before and after the code, over this part of the code's length, half way between its long
    /// sides.
    [[nodiscard]] bool hasQuietZones(const LumaPicture& picture, double part) const;

    /// Paints the code white.
    void erase(LumaPicture& picture) const;
    /// Paints the line of the read white.
    void eraseLine(LumaPicture& picture) const;

private:
    /// A point on a bar, in a picture whose axes are exchanged when the code's lines run along columns.
    struct Place {
        double along; ///< the line
        double across; ///< it
    };
    struct Bar {
        Place low; ///< smaller `across`
        Place high;
    };

    [[nodiscard]] PicturePoint toPicture(Place place) const;
    void coverLine(LumaPicture& picture, int line, double from, double to) const;

    bool isUpright_ = true; ///< lines run along rows
    bool isReversed_ = false; ///< the code starts where `along` is greater
    int line_ = 0; ///< `across`
    Bar near_; ///< smaller `along`
    Bar far_;
};

} // namespace tamsel::host
