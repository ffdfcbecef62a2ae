#pragma once

namespace tamsel::host {

/// The position of a face in a picture: its eyebrows to its chin, in pixels from the top left corner.
struct FaceBounds {
    double left = 0;
    double top = 0;
    double width = 0;
    double height = 0;

    [[nodiscard]] double area() const { return width * height; }
};

} // namespace tamsel::host
