#include "pictures/Annotation.h"

#include "pictures/BitmapFont.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

namespace tamsel::capture {

using platform::CGPoint;

namespace {

using Colour = std::array<std::uint8_t, 3>;

constexpr Colour black{0, 0, 0};
constexpr Colour white{255, 255, 255};
constexpr Colour codeColour{0, 230, 64};
constexpr Colour faceColour{0, 200, 255};
constexpr Colour firstCornerColour{255, 48, 48};

/// Pixels from `left` and `top` to `right` and `bottom`, the last ones left out; may reach out of the picture.
struct Box {
    int left;
    int top;
    int right;
    int bottom;

    [[nodiscard]] bool overlaps(const Box& other) const
    {
        return left < other.right && other.left < right && top < other.bottom && other.top < bottom;
    }
};

class Canvas {
public:
    explicit Canvas(Picture& picture)
        : picture_(picture),
          width(static_cast<int>(picture.width)),
          height(static_cast<int>(picture.height))
    {
    }

    void fill(Box box, Colour colour)
    {
        for (int y = std::max(box.top, 0); y < std::min(box.bottom, height); ++y) {
            for (int x = std::max(box.left, 0); x < std::min(box.right, width); ++x)
                std::ranges::copy(colour,
                    &picture_.rgb[(static_cast<std::size_t>(y) * picture_.width + static_cast<std::size_t>(x))
                        * 3]);
        }
    }

    /// A square of 2 * reach + 1 pixels.
    void dot(CGPoint middle, int reach, Colour colour)
    {
        const int x = static_cast<int>(std::floor(middle.x));
        const int y = static_cast<int>(std::floor(middle.y));
        fill({x - reach, y - reach, x + reach + 1, y + reach + 1}, colour);
    }

    void line(CGPoint from, CGPoint to, int reach, Colour colour)
    {
        // Half a pixel each, so that none is left out.
        const double steps = std::ceil(2 * std::max({std::abs(to.x - from.x), std::abs(to.y - from.y), 1.0}));
        for (double step = 0; step <= steps; ++step)
            dot({std::lerp(from.x, to.x, step / steps), std::lerp(from.y, to.y, step / steps)}, reach,
                colour);
    }

private:
    Picture& picture_;

public:
    const int width;
    const int height;
};

/// Everything grows with the picture.
struct Pen {
    explicit Pen(const Canvas& canvas)
        : reach(std::min(canvas.width, canvas.height) / 400),
          dot(std::max(1, std::min(canvas.width, canvas.height) / 240))
    {
    }

    int reach; ///< of a bright line on each side of its middle
    int rim = std::max(1, reach); ///< how far its dark border reaches beyond it
    int mark = 2 * reach + 2; ///< of the first corner, as a line's
    int dot; ///< of a character
};

std::vector<CGPoint> toPixels(const Canvas& canvas, const std::vector<CGPoint>& corners)
{
    std::vector<CGPoint> points;
    for (const CGPoint& corner : corners) // a corner on the edge is drawn on the last pixels
        points.push_back({std::min(corner.x * canvas.width, canvas.width - 1.0),
            std::min(corner.y * canvas.height, canvas.height - 1.0)});
    return points;
}

void drawOutline(Canvas& canvas, const Pen& pen, const std::vector<CGPoint>& points, Colour colour)
{
    for (const bool isBorder : {true, false}) {
        for (std::size_t index = 0; index < points.size(); ++index)
            canvas.line(points[index], points[(index + 1) % points.size()],
                isBorder ? pen.reach + pen.rim : pen.reach, isBorder ? black : colour);
    }
}

void markFirst(Canvas& canvas, const Pen& pen, CGPoint corner)
{
    canvas.dot(corner, pen.mark + pen.rim, white);
    canvas.dot(corner, pen.mark, firstCornerColour);
}

/// The bounds of the drawing at these points.
Box boxAround(const std::vector<CGPoint>& points, const Pen& pen)
{
    const auto [left, right] = std::ranges::minmax(points, {}, &CGPoint::x);
    const auto [top, bottom] = std::ranges::minmax(points, {}, &CGPoint::y);
    const int reach = pen.mark + pen.rim;
    return {static_cast<int>(left.x) - reach, static_cast<int>(top.y) - reach,
        static_cast<int>(right.x) + reach + 1, static_cast<int>(bottom.y) + reach + 1};
}

/// Labels near their subjects that avoid other drawings where there is room.
class Labels {
public:
    Labels(Canvas& canvas, Pen pen) : canvas_(canvas), pen_(pen) { }

    /// Labels avoid this box where they can.
    void avoid(Box box) { taken_.push_back(box); }

    void draw(const std::string& text, Box subject, Colour colour)
    {
        const std::vector<const Glyph*> whole = glyphsOf(text);
        std::vector<const Glyph*> glyphs
            = shortened(whole, std::max(subject.right - subject.left, widthOf(28)));
        std::optional<Box> free = freePlace(widthOf(glyphs.size()), subject);
        if (!free) {
            std::vector<const Glyph*> fewer = shortened(whole, widthOf(14));
            free = freePlace(widthOf(fewer.size()), subject);
            if (free)
                glyphs = std::move(fewer);
        }
        const Box place = free ? *free : placeOn(subject, widthOf(glyphs.size()));
        avoid(place);
        canvas_.fill(place, black);
        int left = place.left + pen_.dot;
        for (const Glyph* glyph : glyphs) {
            drawGlyph(*glyph, left, place.top + pen_.dot, colour);
            left += advance();
        }
    }

private:
    [[nodiscard]] int advance() const { return static_cast<int>(glyphWidth + 1) * pen_.dot; }
    [[nodiscard]] int height() const { return static_cast<int>(glyphHeight + 1) * pen_.dot; }
    [[nodiscard]] int widthOf(std::size_t glyphs) const
    {
        return static_cast<int>(glyphs) * advance() + pen_.dot;
    }

    /// Shortened to the width, and to that of the picture.
    [[nodiscard]] std::vector<const Glyph*> shortened(std::vector<const Glyph*> glyphs, int room) const
    {
        static const std::vector<const Glyph*> dots = glyphsOf("...");
        const int width = std::min(room, canvas_.width) - pen_.dot;
        const auto most = static_cast<std::size_t>(std::max(0, width / advance()));
        if (glyphs.size() <= most)
            return glyphs;
        glyphs.resize(most > dots.size() ? most - dots.size() : most);
        if (most > dots.size())
            glyphs.insert(glyphs.end(), dots.begin(), dots.end());
        return glyphs;
    }

    [[nodiscard]] Box placeAt(int left, int top, int width) const
    {
        left = std::clamp(left, 0, std::max(0, canvas_.width - width));
        return {left, top, left + width, top + height()};
    }

    /// Above or below the subject, along its left or its right side.
    [[nodiscard]] std::optional<Box> freePlace(int width, Box subject) const
    {
        for (const int top : {subject.top - height(), subject.bottom}) {
            for (const int left : {subject.left, subject.right - width}) {
                const Box place = placeAt(left, top, width);
                if (place.top >= 0 && place.bottom <= canvas_.height
                    && std::ranges::none_of(taken_, [&](const Box& box) { return box.overlaps(place); }))
                    return place;
            }
        }
        return std::nullopt;
    }

    [[nodiscard]] Box placeOn(Box subject, int width) const
    {
        const int lowest = std::max(0, canvas_.height - height());
        return placeAt(
            subject.left, std::clamp((subject.top + subject.bottom - height()) / 2, 0, lowest), width);
    }

    void drawGlyph(const Glyph& glyph, int left, int top, Colour colour)
    {
        for (std::size_t row = 0; row < glyphHeight; ++row) {
            for (std::size_t column = 0; column < glyphWidth; ++column) {
                const int x = left + static_cast<int>(column) * pen_.dot;
                const int y = top + static_cast<int>(row) * pen_.dot;
                if ((glyph[row] >> (glyphWidth - 1 - column) & 1U) != 0)
                    canvas_.fill({x, y, x + pen_.dot, y + pen_.dot}, colour);
            }
        }
    }

    Canvas& canvas_;
    const Pen pen_;
    std::vector<Box> taken_;
};

} // namespace

void annotate(Picture& picture, std::span<const Finding> findings, const std::string& caption)
{
    Canvas canvas(picture);
    const Pen pen(canvas);
    Labels labels(canvas, pen);
    for (const Finding& finding : findings) {
        const std::vector<CGPoint> points = toPixels(canvas, finding.corners);
        drawOutline(canvas, pen, points, finding.isFace ? faceColour : codeColour);
        if (!finding.isFace)
            markFirst(canvas, pen, points.front());
        labels.avoid(boxAround(points, pen));
    }
    if (!caption.empty())
        labels.draw(caption, {0, canvas.height, 0, canvas.height}, white);
    for (const Finding& finding : findings)
        labels.draw(finding.label, boxAround(toPixels(canvas, finding.corners), pen),
            finding.isFace ? faceColour : codeColour);
}

} // namespace tamsel::capture
