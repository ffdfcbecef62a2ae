#pragma once

#include <tamsel/platform/Geometry.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <optional>

namespace tamsel::host {

/// The digital zoom of a camera, which may change while the camera runs. Thread-safe.
class DigitalZoom {
public:
    static constexpr double maximumFactor = 8;

    void set(double factor) { factor_ = std::clamp(factor, 1.0, maximumFactor); }

    /// The visible part of a picture, in pixels: in its middle, at even places; absent when all of it is visible.
    [[nodiscard]] std::optional<platform::CGRect> partOf(std::size_t width, std::size_t height) const
    {
        const double factor = factor_;
        if (factor <= 1 || width < 4 || height < 4)
            return std::nullopt;
        const platform::CGSize size{evenLength(width, factor), evenLength(height, factor)};
        return platform::CGRect{{evenOffset(width, size.width), evenOffset(height, size.height)}, size};
    }

private:
    [[nodiscard]] static double evenLength(std::size_t whole, double factor)
    {
        const auto pairs = static_cast<std::size_t>(static_cast<double>(whole) / factor / 2);
        return static_cast<double>(2 * std::max<std::size_t>(1, pairs));
    }
    [[nodiscard]] static double evenOffset(std::size_t whole, double length)
    {
        return static_cast<double>((whole - static_cast<std::size_t>(length)) / 4 * 2);
    }

    std::atomic<double> factor_ = 1;
};

} // namespace tamsel::host
