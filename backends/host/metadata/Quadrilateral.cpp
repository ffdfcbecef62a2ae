#include <host/metadata/Quadrilateral.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace tamsel::host {

PicturePoint centre(const Quadrilateral& corners)
{
    PicturePoint sum;
    for (const PicturePoint& corner : corners) {
        sum.x += corner.x / 4;
        sum.y += corner.y / 4;
    }
    return sum;
}

Quadrilateral grown(const Quadrilateral& corners, double factor)
{
    const PicturePoint middle = centre(corners);
    Quadrilateral larger = corners;
    for (PicturePoint& corner : larger)
        corner = {middle.x + (corner.x - middle.x) * factor, middle.y + (corner.y - middle.y) * factor};
    return larger;
}

bool contains(const Quadrilateral& corners, PicturePoint point)
{
    int left = 0;
    int right = 0;
    for (std::size_t index = 0; index < corners.size(); ++index) {
        const PicturePoint& from = corners[index];
        const PicturePoint& to = corners[(index + 1) % corners.size()];
        const double side = (to.x - from.x) * (point.y - from.y) - (to.y - from.y) * (point.x - from.x);
        left += side < 0 ? 1 : 0;
        right += side > 0 ? 1 : 0;
    }
    return left == 0 || right == 0;
}

PictureArea surroundingsOf(const LumaPicture& picture, const Quadrilateral& corners)
{
    const Quadrilateral area = grown(corners, 1.2);
    const auto [left, right] = std::ranges::minmax(area, {}, &PicturePoint::x);
    const auto [top, bottom] = std::ranges::minmax(area, {}, &PicturePoint::y);
    return {std::max(0, static_cast<int>(left.x)), std::max(0, static_cast<int>(top.y)),
        std::min(picture.width, static_cast<int>(right.x) + 1),
        std::min(picture.height, static_cast<int>(bottom.y) + 1)};
}

void cover(LumaPicture& picture, const Quadrilateral& corners)
{
    const auto [top, bottom] = std::ranges::minmax(corners, {}, &PicturePoint::y);
    for (int y = std::max(0, static_cast<int>(top.y)); y < std::min<double>(picture.height, bottom.y + 1);
        ++y) {
        double left = picture.width;
        double right = 0;
        for (std::size_t index = 0; index < corners.size(); ++index) {
            PicturePoint from = corners[index];
            PicturePoint to = corners[(index + 1) % corners.size()];
            if (from.y > to.y)
                std::swap(from, to);
            if (to.y < y || from.y > y + 1)
                continue;
            for (const double line : {std::max<double>(y, from.y), std::min<double>(y + 1, to.y)}) {
                const double part = to.y > from.y ? (line - from.y) / (to.y - from.y) : 0;
                left = std::min(left, from.x + part * (to.x - from.x));
                right = std::max(right, from.x + part * (to.x - from.x));
            }
            if (to.y <= from.y) {
                left = std::min({left, from.x, to.x});
                right = std::max({right, from.x, to.x});
            }
        }
        const int first = std::max(0, static_cast<int>(left));
        const int last = std::min(picture.width, static_cast<int>(std::ceil(right)));
        for (int x = first; x < last; ++x)
            picture.row(y)[x] = 255;
    }
}

} // namespace tamsel::host
