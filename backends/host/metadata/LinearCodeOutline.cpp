#include <host/metadata/LinearCodeOutline.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>

namespace tamsel::host {

namespace {

/// The step from one examined line to the next, and the largest sideways move of the bars within it.
constexpr int lineStep = 2;
constexpr int shiftLimit = 3;
/// The number of differing lines, for a scratch or a reflection, that do not end the bars.
constexpr int missesAllowed = 2;
/// Of two lines of the same bars.
constexpr double sameBars = 0.6;
constexpr double stillLike = 0.85;

/// A picture, with its axes exchanged or not.
class Lines {
public:
    Lines(const LumaPicture& picture, bool isUpright)
        : first_(picture.pixels.data()),
          length_(isUpright ? picture.width : picture.height),
          count_(isUpright ? picture.height : picture.width),
          stepAlong_(isUpright ? 1 : picture.width),
          stepAcross_(isUpright ? picture.width : 1)
    {
    }

    [[nodiscard]] int length() const { return length_; }
    [[nodiscard]] int count() const { return count_; }
    [[nodiscard]] std::uint8_t at(int along, int across) const
    {
        return first_[along * stepAlong_ + across * stepAcross_];
    }

private:
    const std::uint8_t* first_;
    int length_;
    int count_;
    std::ptrdiff_t stepAlong_;
    std::ptrdiff_t stepAcross_;
};

/// A few bars at one end of a code, as sampled on the line of the read.
class BarPattern {
public:
    BarPattern(const Lines& lines, int start, int end, int line) : lines_(lines), start_(start)
    {
        for (int along = start; along < end; ++along)
            samples_.push_back(lines.at(along, line));
        double sum = 0;
        for (const double sample : samples_)
            sum += sample;
        const double mean = sum / static_cast<double>(samples_.size());
        for (double& sample : samples_) {
            sample -= mean;
            energy_ += sample * sample;
        }
    }

    /// The normalised cross-correlation with another line, on which the bars are shifted by `shift`.
    [[nodiscard]] double likeness(int line, int shift) const
    {
        const int last = start_ + shift + static_cast<int>(samples_.size()) - 1;
        if (start_ + shift < 0 || last >= lines_.length())
            return 0;
        double sum = 0;
        double squares = 0;
        double product = 0;
        int along = start_ + shift;
        for (const double sample : samples_) {
            const double value = lines_.at(along, line);
            sum += value;
            squares += value * value;
            product += value * sample;
            ++along;
        }
        const double energy = squares - sum * sum / static_cast<double>(samples_.size());
        // Bars that have all but faded do not count.
        return energy * 16 < energy_ ? 0 : product / std::sqrt(energy * energy_);
    }

    /// Because of converging bars and changing light, lines differ more the further they are apart.
    void adapt(int line, int shift)
    {
        constexpr double part = 0.3;
        double sum = 0;
        int along = start_ + shift;
        for (std::size_t index = 0; index < samples_.size(); ++index, ++along)
            sum += lines_.at(along, line);
        const double mean = sum / static_cast<double>(samples_.size());
        along = start_ + shift;
        energy_ = 0;
        for (double& sample : samples_) {
            sample += part * (lines_.at(along, line) - mean - sample);
            energy_ += sample * sample;
            ++along;
        }
    }

private:
    const Lines& lines_;
    int start_;
    std::vector<double> samples_;
    double energy_ = 0;
};

struct BarEnd {
    int line;
    double shift;
};

BarEnd follow(const Lines& lines, BarPattern pattern, int line, int direction)
{
    BarEnd end{line, 0};
    double slope = 0;
    int misses = 0;
    double expected = 0;
    for (int next = line + direction * lineStep; next >= 0 && next < lines.count() && misses <= missesAllowed;
        next += direction * lineStep) {
        expected += slope;
        const int middle = static_cast<int>(std::lround(expected));
        double best = 0;
        int bestShift = middle;
        for (int distance = 0; distance <= shiftLimit; ++distance) {
            for (const int shift : {middle - distance, middle + distance}) {
                const double likeness = pattern.likeness(next, shift);
                if (likeness > best + 1e-9) {
                    best = likeness;
                    bestShift = shift;
                }
            }
        }
        if (best < sameBars) {
            ++misses;
            continue;
        }
        misses = 0;
        const int steps = std::abs(next - line) / lineStep;
        slope = static_cast<double>(bestShift) / steps;
        expected = bestShift;
        if (best < stillLike)
            pattern.adapt(next, bestShift);
        end = {next, static_cast<double>(bestShift)};
    }
    return end;
}

} // namespace

LinearCodeOutline::LinearCodeOutline(const LumaPicture& picture, PicturePoint lineStart, PicturePoint lineEnd)
    : isUpright_(std::abs(lineEnd.x - lineStart.x) >= std::abs(lineEnd.y - lineStart.y))
{
    const Lines lines(picture, isUpright_);
    double start = isUpright_ ? lineStart.x : lineStart.y;
    double end = isUpright_ ? lineEnd.x : lineEnd.y;
    isReversed_ = start > end;
    if (isReversed_)
        std::swap(start, end);
    const double across = isUpright_ ? (lineStart.y + lineEnd.y) / 2 : (lineStart.x + lineEnd.x) / 2;
    line_ = std::clamp(static_cast<int>(across), 0, lines.count() - 1);
    const int first = std::clamp(static_cast<int>(std::floor(start)), 0, lines.length() - 1);
    const int last = std::clamp(static_cast<int>(std::ceil(end)), first + 1, lines.length());
    const int part = std::min(std::clamp((last - first) / 6, 24, 160), last - first);

    const auto bar = [&](int from, int to, double edge) {
        const BarPattern pattern(lines, from, to, line_);
        const BarEnd low = follow(lines, pattern, line_, -1);
        const BarEnd high = follow(lines, pattern, line_, 1);
        return Bar{{edge + low.shift, static_cast<double>(low.line)},
            {edge + high.shift, static_cast<double>(std::min(high.line + 1, lines.count()))}};
    };
    near_ = bar(first, first + part, start);
    far_ = bar(last - part, last, end + 1); // the line ends in the last bar's last pixel
}

double LinearCodeOutline::barLength() const
{
    return std::min(near_.high.across - near_.low.across, far_.high.across - far_.low.across);
}

PicturePoint LinearCodeOutline::toPicture(Place place) const
{
    return isUpright_ ? PicturePoint{place.along, place.across} : PicturePoint{place.across, place.along};
}

Quadrilateral LinearCodeOutline::corners() const
{
    const Bar& first = isReversed_ ? far_ : near_;
    const Bar& last = isReversed_ ? near_ : far_;
    // The top of a code that runs to the right is at the low end of the lines; each quarter turn, of the code or of
    // the axes, exchanges that.
    const bool isTopLow = isUpright_ != isReversed_;
    const auto top = [&](const Bar& bar) { return toPicture(isTopLow ? bar.low : bar.high); };
    const auto bottom = [&](const Bar& bar) { return toPicture(isTopLow ? bar.high : bar.low); };
    return {top(first), top(last), bottom(last), bottom(first)};
}

double LinearCodeOutline::barsLean() const
{
    const auto slope = [](const Bar& bar) {
        const double length = bar.high.across - bar.low.across;
        return length > 0 ? (bar.high.along - bar.low.along) / length : 0;
    };
    const double lean = std::atan((slope(near_) + slope(far_)) / 2) * 180 / std::numbers::pi;
    return isUpright_ ? lean : -lean;
}

bool LinearCodeOutline::hasQuietZones(const LumaPicture& picture, double part) const
{
    const Lines lines(picture, isUpright_);
    const auto middle = [](const Bar& bar) {
        return Place{(bar.low.along + bar.high.along) / 2, (bar.low.across + bar.high.across) / 2};
    };
    const Place start = middle(near_);
    const Place end = middle(far_);
    const double length = end.along - start.along;
    const auto at = [&](double along) {
        const double across = start.across + (end.across - start.across) * (along - start.along) / length;
        return lines.at(std::clamp(static_cast<int>(along), 0, lines.length() - 1),
            std::clamp(static_cast<int>(across), 0, lines.count() - 1));
    };
    std::uint8_t darkest = 255;
    std::uint8_t lightest = 0;
    for (double along = start.along; along < end.along; ++along) {
        darkest = std::min(darkest, at(along));
        lightest = std::max(lightest, at(along));
    }
    const int threshold = (darkest + lightest) / 2;
    // A tightly cropped picture ends within both zones, one that cuts the code within one.
    const double zone = part * length;
    const bool isCropped = start.along < zone && end.along + zone > lines.length();
    const auto isLight = [&](double along) {
        const bool isInside = along >= 0 && along < lines.length();
        return isInside ? at(along) >= threshold : isCropped;
    };
    for (double distance = 2; distance < zone; ++distance) {
        if (!isLight(start.along - distance) || !isLight(end.along + distance))
            return false;
    }
    return true;
}

void LinearCodeOutline::eraseLine(LumaPicture& picture) const
{
    for (int line = line_ - 2; line <= line_ + 2; ++line)
        coverLine(picture, line, near_.low.along, far_.low.along);
}

/// Paints it white, as far as it is in the picture.
void LinearCodeOutline::coverLine(LumaPicture& picture, int line, double from, double to) const
{
    const int lineCount = isUpright_ ? picture.height : picture.width;
    const int lineLength = isUpright_ ? picture.width : picture.height;
    if (line < 0 || line >= lineCount)
        return;
    const int end = std::min(lineLength, static_cast<int>(to));
    for (int along = std::max(0, static_cast<int>(from)); along < end; ++along)
        (isUpright_ ? picture.row(line)[along] : picture.row(along)[line]) = 255;
}

void LinearCodeOutline::erase(LumaPicture& picture) const
{
    constexpr double margin = 4;
    const auto edge = [](const Bar& bar, double across) {
        const double height = bar.high.across - bar.low.across;
        return height <= 0
            ? bar.low.along
            : bar.low.along + (bar.high.along - bar.low.along) * (across - bar.low.across) / height;
    };
    const double low = std::min(near_.low.across, far_.low.across) - margin;
    const double high = std::max(near_.high.across, far_.high.across) + margin;
    for (int line = std::max(0, static_cast<int>(low)); line < high; ++line)
        coverLine(picture, line, edge(near_, line) - margin, edge(far_, line) + margin);
}

} // namespace tamsel::host
