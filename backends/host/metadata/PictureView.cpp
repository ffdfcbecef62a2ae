#include <host/metadata/PictureView.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdlib>
#include <numbers>

namespace tamsel::host {

namespace {

/// Of pixels, for one bilinear sample.
constexpr int fractionBits = 16;
constexpr std::int64_t fractionOne = 1 << fractionBits;

std::uint8_t sampled(const LumaPicture& picture, std::int64_t x, std::int64_t y)
{
    const auto column = [&](std::int64_t place) {
        return static_cast<int>(std::clamp<std::int64_t>(place >> fractionBits, 0, picture.width - 1));
    };
    const auto line = [&](std::int64_t place) {
        return static_cast<int>(std::clamp<std::int64_t>(place >> fractionBits, 0, picture.height - 1));
    };
    const std::uint8_t* upper = picture.row(line(y));
    const std::uint8_t* lower = picture.row(line(y + fractionOne));
    const int left = column(x);
    const int right = column(x + fractionOne);
    const std::int64_t partX = (x & (fractionOne - 1)) >> 8;
    const std::int64_t partY = (y & (fractionOne - 1)) >> 8;
    const std::int64_t top = upper[left] * (256 - partX) + upper[right] * partX;
    const std::int64_t bottom = lower[left] * (256 - partX) + lower[right] * partX;
    return static_cast<std::uint8_t>((top * (256 - partY) + bottom * partY) >> 16);
}

struct ViewSides {
    int width;
    int height;
};

ViewSides sidesOf(PictureArea area, ViewAngle angle)
{
    const double turn = angle.degrees * std::numbers::pi / 180;
    const auto reach = [&](double along, double across) {
        const double pixels
            = (std::abs(along * std::cos(turn)) + std::abs(across * std::sin(turn))) * angle.scale;
        return std::max(1, static_cast<int>(std::ceil(pixels)));
    };
    return {reach(area.width(), area.height()), reach(area.height(), area.width())};
}

} // namespace

std::int64_t viewSize(PictureArea area, ViewAngle angle)
{
    const ViewSides sides = sidesOf(area, angle);
    return std::int64_t{sides.width} * sides.height;
}

std::vector<PictureArea> piecesOf(PictureArea area)
{
    const bool isLevel = area.width() > area.height();
    const int across = isLevel ? area.height() : area.width();
    const int end = isLevel ? area.right : area.bottom;
    std::vector<PictureArea> pieces;
    for (int begin = isLevel ? area.left : area.top;; begin += 3 * across) {
        const int pieceEnd = std::min(end, begin + 4 * across);
        pieces.push_back(isLevel ? PictureArea{begin, area.top, pieceEnd, area.bottom}
                                 : PictureArea{area.left, begin, area.right, pieceEnd});
        if (pieceEnd == end)
            return pieces;
    }
}

PictureView::PictureView(const LumaPicture& picture, PictureArea area, ViewAngle angle)
    : middle_{(area.left + area.right) / 2.0, (area.top + area.bottom) / 2.0}
{
    const double turn = angle.degrees * std::numbers::pi / 180;
    const double cosine = std::cos(turn);
    const double sine = std::sin(turn);
    const ViewSides sides = sidesOf(area, angle);
    view_.width = sides.width;
    view_.height = sides.height;
    view_.pixels.resize(static_cast<std::size_t>(view_.width) * static_cast<std::size_t>(view_.height));
    viewMiddle_ = {view_.width / 2.0, view_.height / 2.0};
    const double mirror = angle.isMirrored ? -1 : 1;
    right_ = {mirror * cosine / angle.scale, mirror * sine / angle.scale};
    down_ = {-sine / angle.scale, cosine / angle.scale};

    const auto fixed
        = [](double value) { return static_cast<std::int64_t>(value * static_cast<double>(fractionOne)); };
    const std::uint8_t flip = angle.isInverted ? 255 : 0;
    const std::int64_t stepX = fixed(right_.x);
    const std::int64_t stepY = fixed(right_.y);
    for (int y = 0; y < view_.height; ++y) {
        const PicturePoint start = toPicture({0.5, y + 0.5});
        std::int64_t placeX = fixed(start.x - 0.5);
        std::int64_t placeY = fixed(start.y - 0.5);
        std::uint8_t* row = view_.row(y);
        for (int x = 0; x < view_.width; ++x) {
            row[x] = sampled(picture, placeX, placeY) ^ flip;
            placeX += stepX;
            placeY += stepY;
        }
    }
}

PicturePoint PictureView::toPicture(PicturePoint point) const
{
    const double right = point.x - viewMiddle_.x;
    const double down = point.y - viewMiddle_.y;
    return {middle_.x + right * right_.x + down * down_.x, middle_.y + right * right_.y + down * down_.y};
}

std::optional<double> tiltOf(const LumaPicture& picture, PictureArea area)
{
    /// The least part of the strength of all edges along one direction and across it.
    constexpr double leastAgreement = 0.15;
    // The edges of a code have two directions, at a right angle, each with light on either side. As complex numbers of four
    // times their angle, all of them are the same and add up.
    std::complex<double> sum;
    double strength = 0;
    for (int y = area.top + 1; y < area.bottom - 1; y += 2) {
        const std::uint8_t* above = picture.row(y - 1);
        const std::uint8_t* row = picture.row(y);
        const std::uint8_t* below = picture.row(y + 1);
        for (int x = area.left + 1; x < area.right - 1; ++x) {
            // By Scharr's operator, whose error of direction stays small for fine bars.
            const int across = 3 * (above[x + 1] - above[x - 1] + below[x + 1] - below[x - 1])
                + 10 * (row[x + 1] - row[x - 1]);
            const int down = 3 * (below[x - 1] - above[x - 1] + below[x + 1] - above[x + 1])
                + 10 * (below[x] - above[x]);
            const std::complex<double> gradient(across, down);
            const double square = std::norm(gradient);
            if (square == 0)
                continue;
            const std::complex<double> twice = gradient * gradient;
            sum += twice * twice / square;
            strength += square;
        }
    }
    if (std::abs(sum) < leastAgreement * strength)
        return std::nullopt;
    // Rows run downwards, so angles of gradients run clockwise.
    return -std::arg(sum) / 4 * 180 / std::numbers::pi;
}

LumaPicture halved(const LumaPicture& picture)
{
    LumaPicture half{picture.width / 2, picture.height / 2, {}};
    half.pixels.resize(static_cast<std::size_t>(half.width) * static_cast<std::size_t>(half.height));
    for (int y = 0; y < half.height; ++y) {
        const std::uint8_t* upper = picture.row(2 * y);
        const std::uint8_t* lower = picture.row(2 * y + 1);
        std::uint8_t* row = half.row(y);
        for (int x = 0; x < half.width; ++x)
            row[x] = static_cast<std::uint8_t>(
                (upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1] + 2) / 4);
    }
    return half;
}

LumaPicture evened(const LumaPicture& picture)
{
    constexpr int cellSize = 32;
    /// In cells: the extent of a cell's surroundings.
    constexpr int reach = 1;
    constexpr int leastContrast = 24;
    const int columns = (picture.width + cellSize - 1) / cellSize;
    const int rows = (picture.height + cellSize - 1) / cellSize;
    struct Range {
        int darkest = 255;
        int lightest = 0;
    };
    const auto index = [&](int column, int row) {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns)
            + static_cast<std::size_t>(column);
    };
    std::vector<Range> cells(index(0, rows));
    for (int y = 0; y < picture.height; ++y) {
        const std::uint8_t* row = picture.row(y);
        for (int x = 0; x < picture.width; ++x) {
            Range& cell = cells[index(x / cellSize, y / cellSize)];
            cell.darkest = std::min<int>(cell.darkest, row[x]);
            cell.lightest = std::max<int>(cell.lightest, row[x]);
        }
    }
    LumaPicture even{picture.width, picture.height, std::vector<std::uint8_t>(picture.pixels.size(), 255)};
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            Range around;
            for (int y = std::max(0, row - reach); y <= std::min(rows - 1, row + reach); ++y) {
                for (int x = std::max(0, column - reach); x <= std::min(columns - 1, column + reach); ++x) {
                    around.darkest = std::min(around.darkest, cells[index(x, y)].darkest);
                    around.lightest = std::max(around.lightest, cells[index(x, y)].lightest);
                }
            }
            const int contrast = around.lightest - around.darkest;
            if (contrast < leastContrast)
                continue;
            for (int y = row * cellSize; y < std::min(picture.height, (row + 1) * cellSize); ++y) {
                const std::uint8_t* from = picture.row(y);
                std::uint8_t* to = even.row(y);
                for (int x = column * cellSize; x < std::min(picture.width, (column + 1) * cellSize); ++x)
                    to[x] = static_cast<std::uint8_t>((from[x] - around.darkest) * 255 / contrast);
            }
        }
    }
    return even;
}

} // namespace tamsel::host
