#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::capture {

/// Curves and states over time, from the top down, as an SVG picture without a background. It fills the width that it is given,
/// and its text keeps its size.
class SvgPlot {
public:
    struct Range {
        double low;
        double high;
    };
    struct Point {
        double time; ///< seconds
        double value;
    };
    /// A moment, for example of the still.
    struct Moment {
        double time;
        std::string name;
    };
    /// Whether something holds from a time on, up to the next stretch.
    struct Stretch {
        double from;
        std::optional<bool> holds; ///< absent while it is unknown
    };

    /// Each strip names the state at the moment, which a line marks; by default the end.
    explicit SvgPlot(Range times, std::optional<Moment> moment = std::nullopt)
        : times_(times),
          isMarked_(moment.has_value()),
          moment_(std::move(moment).value_or(Moment{times.high, "end"}))
    {
    }

    /// Curves with a scale, and dashed lines at some levels, which the note explains.
    void panel(const std::string& name, const std::string& note, std::vector<std::vector<Point>> curves,
        std::vector<double> levels = {});
    /// A bar where it holds, a thin line where not. The last stretch extends beyond the end, so that it is always visible.
    void strip(const std::string& name, const std::vector<Stretch>& stretches);

    [[nodiscard]] std::string finish();

    /// The text in the colour of the curve with this number of a panel, for the panel's name.
    [[nodiscard]] static std::string inColourOf(std::size_t curve, const std::string& text);

private:
    /// In per cent of the width.
    [[nodiscard]] double x(double time) const;
    template <typename Y>
    [[nodiscard]] std::string curve(const std::vector<Point>& points, Y y, const char* colour) const;
    void bar(double from, double to, std::optional<bool> holds, const char* style, const std::string& title);

    Range times_;
    bool isMarked_;
    Moment moment_;
    std::string body_;
    double top_ = 0;
};

} // namespace tamsel::capture
