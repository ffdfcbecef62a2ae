#include <host/metadata/Pdf417Rows.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

namespace tamsel::host {

namespace {

/// Modules of the start pattern and of every codeword.
constexpr int patternModules = 17;
/// The bars and spaces of the start pattern, in modules, before which a codeword begins.
constexpr std::array<int, 8> startPattern{8, 1, 1, 1, 1, 1, 1, 3};

PicturePoint between(PicturePoint from, PicturePoint to, double part)
{
    return {from.x + (to.x - from.x) * part, from.y + (to.y - from.y) * part};
}

int lumaAt(const LumaPicture& picture, PicturePoint point)
{
    const int x = std::clamp(static_cast<int>(point.x), 0, picture.width - 1);
    const int y = std::clamp(static_cast<int>(point.y), 0, picture.height - 1);
    return picture.row(y)[x];
}

/// Lengths, in samples, of dark and light runs from the first dark one on.
std::vector<int> runsAlong(const LumaPicture& picture, PicturePoint from, PicturePoint to)
{
    const int count = std::max(2, static_cast<int>(std::hypot(to.x - from.x, to.y - from.y) * 4));
    std::vector<int> samples;
    samples.reserve(static_cast<std::size_t>(count));
    for (int index = 0; index < count; ++index)
        samples.push_back(lumaAt(picture, between(from, to, (index + 0.5) / count)));
    const auto [darkest, lightest] = std::ranges::minmax(samples);
    const int threshold = (darkest + lightest) / 2;
    std::vector<int> runs;
    bool isDark = false;
    for (const int sample : samples) {
        if ((sample < threshold) != isDark) {
            isDark = !isDark;
            runs.push_back(0);
        }
        if (!runs.empty())
            ++runs.back();
    }
    return runs;
}

/// The cluster of the codeword after the start pattern, 0, 3 or 6: that of its row.
std::optional<int> clusterOf(const std::vector<int>& runs)
{
    if (runs.size() < 2 * startPattern.size())
        return std::nullopt;
    int start = 0;
    int codeword = 0;
    for (std::size_t index = 0; index < startPattern.size(); ++index) {
        start += runs[index];
        codeword += runs[startPattern.size() + index];
    }
    const double module = static_cast<double>(start) / patternModules;
    if (std::abs(codeword - start) > 2 * module)
        return std::nullopt;
    int sum = 9;
    for (std::size_t index = 0; index < startPattern.size(); ++index) {
        if (std::abs(runs[index] / module - startPattern[index]) > 0.75)
            return std::nullopt;
        if (index % 2 == 0) {
            const auto width = static_cast<int>(std::lround(
                runs[startPattern.size() + index] * patternModules / static_cast<double>(codeword)));
            sum += index % 4 == 0 ? width : -width;
        }
    }
    const int cluster = (sum + 9) % 9;
    return cluster % 3 == 0 ? std::optional(cluster) : std::nullopt;
}

/// By how many more steps from one row to the next the rows run from top to bottom than from bottom to top.
int rowsDownwards(const LumaPicture& picture, const Quadrilateral& corners)
{
    const auto& [topLeft, topRight, bottomRight, bottomLeft] = corners;
    const int lines = static_cast<int>(std::hypot(bottomLeft.x - topLeft.x, bottomLeft.y - topLeft.y));
    std::optional<int> previous;
    int downwards = 0;
    for (int line = 0; line < lines; ++line) {
        const double part = (line + 0.5) / lines;
        const PicturePoint left = between(topLeft, bottomLeft, part);
        const PicturePoint right = between(topRight, bottomRight, part);
        // A little of the quiet zone, lest the first bar be cut.
        const std::optional<int> cluster = clusterOf(runsAlong(picture, between(left, right, -0.02), right));
        if (!cluster)
            continue;
        if (previous && *cluster != *previous)
            downwards += (*cluster - *previous + 9) % 9 == 3 ? 1 : -1;
        previous = cluster;
    }
    return downwards;
}

} // namespace

Quadrilateral inOwnOrder(const LumaPicture& picture, const Quadrilateral& corners)
{
    const auto& [topLeft, topRight, bottomRight, bottomLeft] = corners;
    const std::array<Quadrilateral, 4> orders{{
        corners,
        {bottomLeft, bottomRight, topRight, topLeft},
        {bottomRight, bottomLeft, topLeft, topRight},
        {topRight, topLeft, bottomLeft, bottomRight},
    }};
    return *std::ranges::max_element(
        orders, {}, [&](const Quadrilateral& order) { return rowsDownwards(picture, order); });
}

} // namespace tamsel::host
