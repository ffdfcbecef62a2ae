#include <host/metadata/BusyAreas.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace tamsel::host {

namespace {

constexpr int cellSize = 16;
constexpr int margin = 16;
/// Between the darkest and the lightest pixel of a cell.
constexpr int strongContrast = 60;
/// Codes have contrasts all over, also when they are rotated in their frame; outlines of objects have not.
constexpr double leastFilled = 0.4;

struct Cells {
    int columns;
    int rows;
    std::vector<std::uint8_t> isBusy;

    [[nodiscard]] std::uint8_t& at(int column, int row)
    {
        return isBusy[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns)
            + static_cast<std::size_t>(column)];
    }
};

Cells findBusyCells(const LumaPicture& picture)
{
    Cells cells{(picture.width + cellSize - 1) / cellSize, (picture.height + cellSize - 1) / cellSize, {}};
    cells.isBusy.resize(static_cast<std::size_t>(cells.columns) * static_cast<std::size_t>(cells.rows));
    std::vector<std::uint8_t> darkest(static_cast<std::size_t>(picture.width));
    std::vector<std::uint8_t> lightest(static_cast<std::size_t>(picture.width));
    for (int row = 0; row < cells.rows; ++row) {
        std::ranges::fill(darkest, std::uint8_t{255});
        std::ranges::fill(lightest, std::uint8_t{0});
        for (int y = row * cellSize; y < std::min(picture.height, (row + 1) * cellSize); y += 2) {
            const std::uint8_t* pixels = picture.row(y);
            for (std::size_t x = 0; x < darkest.size(); ++x) {
                darkest[x] = std::min(darkest[x], pixels[x]);
                lightest[x] = std::max(lightest[x], pixels[x]);
            }
        }
        for (int column = 0; column < cells.columns; ++column) {
            const auto from = static_cast<std::ptrdiff_t>(column) * cellSize;
            const auto to = std::min<std::ptrdiff_t>(picture.width, from + cellSize);
            const int low = *std::min_element(darkest.begin() + from, darkest.begin() + to);
            const int high = *std::max_element(lightest.begin() + from, lightest.begin() + to);
            cells.at(column, row) = high - low > strongContrast ? 1 : 0;
        }
    }
    return cells;
}

struct Group {
    PictureArea bounds; ///< in cells
    int count; ///< of busy cells
};

/// All connected busy cells from this one on; they are marked as no longer busy.
Group takeConnected(Cells& cells, int column, int row)
{
    PictureArea bounds{column, row, column + 1, row + 1};
    int count = 1;
    std::vector<std::pair<int, int>> open{{column, row}};
    cells.at(column, row) = 0;
    while (!open.empty()) {
        const auto [x, y] = open.back();
        open.pop_back();
        bounds = {std::min(bounds.left, x), std::min(bounds.top, y), std::max(bounds.right, x + 1),
            std::max(bounds.bottom, y + 1)};
        for (int nextY = std::max(0, y - 1); nextY <= std::min(cells.rows - 1, y + 1); ++nextY) {
            for (int nextX = std::max(0, x - 1); nextX <= std::min(cells.columns - 1, x + 1); ++nextX) {
                if (std::exchange(cells.at(nextX, nextY), std::uint8_t{0}) != 0) {
                    open.emplace_back(nextX, nextY);
                    ++count;
                }
            }
        }
    }
    return {bounds, count};
}

} // namespace

std::vector<PictureArea> busyAreas(const LumaPicture& picture)
{
    Cells cells = findBusyCells(picture);
    std::vector<PictureArea> areas;
    for (int row = 0; row < cells.rows; ++row) {
        for (int column = 0; column < cells.columns; ++column) {
            if (cells.at(column, row) == 0)
                continue;
            const auto [bounds, count] = takeConnected(cells, column, row);
            if (static_cast<double>(count) < leastFilled * static_cast<double>(bounds.size()))
                continue;
            areas.push_back(
                {std::max(0, bounds.left * cellSize - margin), std::max(0, bounds.top * cellSize - margin),
                    std::min(picture.width, bounds.right * cellSize + margin),
                    std::min(picture.height, bounds.bottom * cellSize + margin)});
        }
    }
    std::ranges::sort(areas, std::greater{}, &PictureArea::size);
    return areas;
}

} // namespace tamsel::host
