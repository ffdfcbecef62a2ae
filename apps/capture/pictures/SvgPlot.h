#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tamsel::capture {

/// Curves and verdicts over time, from the top down, as an SVG picture without a background, in colours that stand out on a
/// light and on a dark page alike.
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
    /// What was so from a time on, up to the next stretch.
    struct Stretch {
        double from;
        std::string text;
        std::optional<bool> holds; ///< absent while nobody knows
    };

    explicit SvgPlot(Range times) : times_(times) { }

    /// Curves with a scale, and level lines where a verdict turns.
    void panel(
        const std::string& name, std::vector<std::vector<Point>> curves, std::vector<double> levels = {});
    /// The last stretch ends with the picture.
    void strip(const std::vector<Stretch>& stretches);
    void skip();
    /// A line through everything.
    void mark(double time, const std::string& text);

    [[nodiscard]] std::string finish();

    /// The text in the colour of the curve with this number of a panel, for the panel's name.
    [[nodiscard]] static std::string inColourOf(std::size_t curve, const std::string& text);

private:
    struct Mark {
        double time;
        std::string text;
    };

    [[nodiscard]] double x(double time) const;
    template <typename Y>
    [[nodiscard]] std::string curve(const std::vector<Point>& points, Y y, const char* colour) const;

    Range times_;
    std::vector<Mark> marks_;
    std::string body_;
    double top_ = 6;
};

/// As for printf, at most 511 characters.
[[nodiscard]] __attribute__((format(printf, 1, 2))) std::string formatted(const char* format, ...);

} // namespace tamsel::capture
