#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tamsel::host {

/// A point of a picture, in pixels; the first pixel reaches from 0 to 1.
struct PicturePoint {
    double x = 0;
    double y = 0;

    bool operator==(const PicturePoint&) const = default;
};

/// A part of a picture: columns `left` to `right`, rows `top` to `bottom`, exclusive of the last ones.
struct PictureArea {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    [[nodiscard]] int width() const { return right - left; }
    [[nodiscard]] int height() const { return bottom - top; }
    [[nodiscard]] std::int64_t size() const { return static_cast<std::int64_t>(width()) * height(); }
};

/// Brightness, a byte for each pixel, row after row without gaps.
struct LumaPicture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;

    [[nodiscard]] PictureArea whole() const { return {0, 0, width, height}; }
    [[nodiscard]] std::uint8_t* row(int y) { return pixels.data() + static_cast<std::ptrdiff_t>(y) * width; }
    [[nodiscard]] const std::uint8_t* row(int y) const
    {
        return pixels.data() + static_cast<std::ptrdiff_t>(y) * width;
    }
};

} // namespace tamsel::host
