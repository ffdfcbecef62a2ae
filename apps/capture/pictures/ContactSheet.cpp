#include "pictures/ContactSheet.h"

#include <algorithm>

namespace tamsel::capture {

namespace {

constexpr std::size_t columns = 4;
constexpr std::size_t shown = 12;
constexpr std::size_t kept = 4 * shown;
constexpr std::size_t thumbnailWidth = 240;
constexpr std::size_t gap = 8;
constexpr std::uint8_t background = 24;

} // namespace

void ContactSheet::add(const platform::CVPixelBuffer& frame, const FrameNotes& notes)
{
    thumbnails_.push_back(makePicture(frame, thumbnailWidth));
    annotate(thumbnails_.back(), notes.findings, notes.caption);
    if (thumbnails_.size() < kept)
        return;
    std::size_t index = 0;
    std::erase_if(thumbnails_, [&](const Picture&) { return index++ % 2 != 0; });
    stride_ = stride_ * 2;
}

Picture ContactSheet::compose() const
{
    const std::size_t count = std::min(shown, thumbnails_.size());
    std::vector<const Picture*> chosen;
    chosen.reserve(count);
    for (std::size_t index = 0; index < count; ++index)
        chosen.push_back(&thumbnails_[count == 1 ? 0 : index * (thumbnails_.size() - 1) / (count - 1)]);

    std::size_t cellWidth = 1;
    std::size_t cellHeight = 1;
    for (const Picture* picture : chosen) {
        cellWidth = std::max(cellWidth, picture->width);
        cellHeight = std::max(cellHeight, picture->height);
    }
    const std::size_t usedColumns = std::min(columns, std::max<std::size_t>(1, count));
    const std::size_t rows = (count + columns - 1) / columns;
    Picture sheet{gap + usedColumns * (cellWidth + gap), gap + rows * (cellHeight + gap), {}};
    sheet.rgb.assign(sheet.width * sheet.height * 3, background);
    for (std::size_t index = 0; index < count; ++index) {
        const Picture& picture = *chosen[index];
        const std::size_t left = gap + index % columns * (cellWidth + gap);
        const std::size_t top = gap + index / columns * (cellHeight + gap);
        for (std::size_t row = 0; row < picture.height; ++row) {
            std::copy_n(picture.rgb.begin() + static_cast<std::ptrdiff_t>(row * picture.width * 3),
                picture.width * 3,
                sheet.rgb.begin() + static_cast<std::ptrdiff_t>(((top + row) * sheet.width + left) * 3));
        }
    }
    return sheet;
}

} // namespace tamsel::capture
