#pragma once

#include <tamsel/platform/Geometry.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <optional>

namespace tamsel::host {

/// The digital zoom of a camera, after that of its lens, if it has one. It may change while the camera runs. Thread-safe.
class DigitalZoom {
public:
    static constexpr double maximumFactor = 8; ///< without the lens

    /// `lens` is the part of the factor that the lens provides.
    void set(double factor, double lens = 1)
    {
        lens_ = lens;
        factor_ = std::clamp(factor / lens, 1.0, maximumFactor);
    }

    /// The part of a picture to show, in pixels: in its middle, at even places; absent when it is all of it.
    [[nodiscard]] std::optional<platform::CGRect> partOf(std::size_t width, std::size_t height) const
    {
        const double factor = factor_;
        if (factor <= 1 || width < 4 || height < 4)
            return std::nullopt;
        const platform::CGSize size{evenLength(width, factor), evenLength(height, factor)};
        if (size.width + 1 >= static_cast<double>(width) && size.height + 1 >= static_cast<double>(height))
            return std::nullopt; // not worth a conversion of its own
        return platform::CGRect{{evenOffset(width, size.width), evenOffset(height, size.height)}, size};
    }

    /// Where a part, or the whole, of a picture lies in the picture without zoom of the lens.
    [[nodiscard]] std::optional<platform::CGRect> visiblePart(
        const std::optional<platform::CGRect>& part, std::size_t width, std::size_t height) const
    {
        const double lens = lens_;
        if (lens <= 1)
            return part;
        const platform::CGSize whole{static_cast<double>(width), static_cast<double>(height)};
        const platform::CGRect inside = part.value_or(platform::CGRect{{0, 0}, whole});
        return platform::CGRect{{(whole.width * (lens - 1) / 2 + inside.origin.x) / lens,
                                    (whole.height * (lens - 1) / 2 + inside.origin.y) / lens},
            {inside.size.width / lens, inside.size.height / lens}};
    }

private:
    [[nodiscard]] static double evenLength(std::size_t whole, double factor)
    {
        const auto pairs = static_cast<std::size_t>(static_cast<double>(whole) / factor / 2 + 0.5);
        return static_cast<double>(2 * std::clamp<std::size_t>(pairs, 1, whole / 2));
    }
    [[nodiscard]] static double evenOffset(std::size_t whole, double length)
    {
        return static_cast<double>((whole - static_cast<std::size_t>(length)) / 4 * 2);
    }

    std::atomic<double> lens_ = 1;
    std::atomic<double> factor_ = 1; ///< the digital one
};

} // namespace tamsel::host
