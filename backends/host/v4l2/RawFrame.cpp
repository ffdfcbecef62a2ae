#include <host/v4l2/RawFrame.h>

#include <libyuv.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace tamsel::host {

namespace {

std::size_t half(std::size_t value)
{
    return (value + 1) / 2;
}

bool hasChromaPlanes(PixelLayout layout)
{
    return layout == PixelLayout::nv12 || layout == PixelLayout::i420 || layout == PixelLayout::yv12;
}

/// Of the second plane and, where there is one, of the third.
std::size_t chromaBytesPerRow(const RawFrameFormat& format)
{
    return format.layout == PixelLayout::nv12 ? std::max(format.bytesPerRow, half(format.width) * 2)
                                              : half(format.bytesPerRow);
}

const libyuv::YuvConstants* constantsOf(ColourMatrix matrix, ColourRange range)
{
    const bool isFull = range == ColourRange::full;
    switch (matrix) {
    case ColourMatrix::bt601:
        return isFull ? &libyuv::kYuvJPEGConstants : &libyuv::kYuvI601Constants;
    case ColourMatrix::bt709:
        return isFull ? &libyuv::kYuvF709Constants : &libyuv::kYuvH709Constants;
    case ColourMatrix::bt2020:
        return isFull ? &libyuv::kYuvV2020Constants : &libyuv::kYuv2020Constants;
    }
    std::unreachable();
}

struct Target {
    explicit Target(platform::CVPixelBuffer& buffer)
        : pixels(reinterpret_cast<std::uint8_t*>(buffer.baseAddress())),
          bytesPerRow(static_cast<int>(buffer.bytesPerRow())),
          width(static_cast<int>(buffer.width())),
          height(static_cast<int>(buffer.height()))
    {
    }

    std::uint8_t* pixels;
    int bytesPerRow;
    int width;
    int height;
};

void copyOpaque(const RawFrameFormat& format, const std::uint8_t* source, const Target& target)
{
    for (int row = 0; row < target.height; ++row) {
        const std::uint8_t* from = source + static_cast<std::size_t>(row) * format.bytesPerRow;
        std::uint8_t* to = target.pixels + static_cast<std::ptrdiff_t>(row) * target.bytesPerRow;
        for (int column = 0; column < target.width; ++column, from += 4, to += 4) {
            std::memcpy(to, from, 3);
            to[3] = 0xff;
        }
    }
}

struct Expansion {
    int offset; ///< of limited values
    int factor; ///< in 65536ths
    int base; ///< of full values
};
constexpr Expansion lumaExpansion{.offset = 16, .factor = 65536 * 255 / 219, .base = 0};
constexpr Expansion chromaExpansion{.offset = 128, .factor = 65536 * 255 / 224, .base = 128};

void expand(const std::uint8_t* from, std::uint8_t* to, std::size_t count, const Expansion& expansion)
{
    for (std::size_t index = 0; index < count; ++index) {
        const int share = ((from[index] - expansion.offset) * expansion.factor + 32768) >> 16;
        to[index] = static_cast<std::uint8_t>(std::clamp(share + expansion.base, 0, 255));
    }
}

void expandPlane(PlanarPicture::Plane& plane, std::uint8_t* to, std::size_t bytesPerRow, int rows,
    const Expansion& expansion)
{
    const std::uint8_t* from = plane.samples;
    const std::ptrdiff_t step = plane.bytesPerRow;
    plane = {to, static_cast<int>(bytesPerRow)};
    for (int row = 0; row < rows; ++row, from += step, to += bytesPerRow)
        expand(from, to, bytesPerRow, expansion);
}

/// Also of what lies between: alpha stays opaque.
void expandPixels(const Target& target)
{
    for (int row = 0; row < target.height; ++row) {
        std::uint8_t* pixels = target.pixels + static_cast<std::ptrdiff_t>(row) * target.bytesPerRow;
        expand(pixels, pixels, static_cast<std::size_t>(target.width) * 4, lumaExpansion);
    }
}

} // namespace

std::size_t RawFrameFormat::minimumBytesPerRow() const
{
    switch (layout) {
    case PixelLayout::yuyv:
    case PixelLayout::uyvy:
        return half(width) * 4;
    case PixelLayout::nv12:
    case PixelLayout::i420:
    case PixelLayout::yv12:
        return width;
    case PixelLayout::bgrx:
        return width * 4;
    case PixelLayout::bgr:
    case PixelLayout::rgb:
        return width * 3;
    case PixelLayout::jpeg:
        break;
    }
    return 0;
}

std::size_t RawFrameFormat::minimumBytes() const
{
    if (!hasChromaPlanes(layout))
        return bytesPerRow * (height - 1) + minimumBytesPerRow();
    const std::size_t chroma = chromaBytesPerRow(*this);
    if (layout == PixelLayout::nv12)
        return bytesPerRow * height + chroma * (half(height) - 1) + half(width) * 2;
    return bytesPerRow * height + chroma * (half(height) * 2 - 1) + half(width);
}

/// Rows of a picture, an even number unless they are its last. `blue` carries both colours of NV12.
struct RawFrameConverter::Block {
    int firstRow = 0;
    int rows = 0;
    PlanarPicture::Plane luma;
    PlanarPicture::Plane blue;
    PlanarPicture::Plane red;
};

void RawFrameConverter::convertLumaAndChroma(const std::uint8_t* source, platform::CVPixelBuffer& buffer)
{
    const Target target(buffer);
    const bool isPacked = !hasChromaPlanes(format_.layout);
    const bool isUyvy = format_.layout == PixelLayout::uyvy;
    const bool is601Limited = format_.matrix == ColourMatrix::bt601 && format_.range == ColourRange::limited;
    const auto bytesPerRow = static_cast<int>(format_.bytesPerRow);
    if (isPacked && is601Limited) {
        const auto convert = isUyvy ? libyuv::UYVYToARGB : libyuv::YUY2ToARGB;
        convert(source, bytesPerRow, target.pixels, target.bytesPerRow, target.width, target.height);
        return;
    }

    // libyuv's factors end at 2, too small for the blue of other limited colours: those are made full beforehand.
    const bool isExpanded = format_.range == ColourRange::limited && !is601Limited;
    // Few rows at a time where samples are copied, so that the copies stay in the cache.
    const int rowsAtOnce = isPacked || isExpanded ? 16 : target.height;
    const auto chromaWidth = half(format_.width);
    const auto copiedRows = static_cast<std::size_t>(rowsAtOnce);
    std::uint8_t* luma = nullptr;
    std::uint8_t* blue = nullptr;
    std::uint8_t* red = nullptr;
    if (isPacked || isExpanded) {
        copies_.resize(copiedRows * (format_.width + 2 * chromaWidth));
        luma = copies_.data();
        blue = luma + copiedRows * format_.width;
        red = blue + copiedRows * chromaWidth;
    }

    const std::size_t chromaBytes = chromaBytesPerRow(format_);
    const std::uint8_t* first = source + format_.bytesPerRow * format_.height;
    const std::uint8_t* second = first + chromaBytes * half(format_.height);
    if (format_.layout == PixelLayout::yv12)
        std::swap(first, second);
    for (int row = 0; row < target.height; row += rowsAtOnce) {
        Block block{.firstRow = row,
            .rows = std::min(rowsAtOnce, target.height - row),
            .luma = {},
            .blue = {},
            .red = {}};
        const std::uint8_t* rowOfSource = source + static_cast<std::size_t>(row) * format_.bytesPerRow;
        if (isPacked) {
            const auto split = isUyvy ? libyuv::UYVYToI422 : libyuv::YUY2ToI422;
            const auto chroma = static_cast<int>(chromaWidth);
            split(rowOfSource, bytesPerRow, luma, target.width, blue, chroma, red, chroma, target.width,
                block.rows);
            block.luma = {luma, target.width};
            block.blue = {blue, chroma};
            block.red = {red, chroma};
        } else {
            const std::size_t chromaOffset = static_cast<std::size_t>(row / 2) * chromaBytes;
            block.luma = {rowOfSource, bytesPerRow};
            block.blue = {first + chromaOffset, static_cast<int>(chromaBytes)};
            block.red = {second + chromaOffset, static_cast<int>(chromaBytes)};
        }
        if (isExpanded) {
            const bool isNv12 = format_.layout == PixelLayout::nv12;
            const int chromaRows = isPacked ? block.rows : (block.rows + 1) / 2;
            expandPlane(block.luma, luma, format_.width, block.rows, lumaExpansion);
            expandPlane(
                block.blue, blue, isNv12 ? 2 * chromaWidth : chromaWidth, chromaRows, chromaExpansion);
            if (!isNv12)
                expandPlane(block.red, red, chromaWidth, chromaRows, chromaExpansion);
        }
        convertBlock(block, isExpanded ? ColourRange::full : format_.range, buffer);
    }
}

void RawFrameConverter::convertBlock(
    const Block& block, ColourRange range, platform::CVPixelBuffer& buffer) const
{
    const Target target(buffer);
    const auto* constants = constantsOf(format_.matrix, range);
    const auto& [firstRow, rows, luma, blue, red] = block;
    std::uint8_t* pixels = target.pixels + static_cast<std::ptrdiff_t>(firstRow) * target.bytesPerRow;
    if (format_.layout == PixelLayout::nv12) {
        libyuv::NV12ToARGBMatrix(luma.samples, luma.bytesPerRow, blue.samples, blue.bytesPerRow, pixels,
            target.bytesPerRow, constants, target.width, rows);
        return;
    }
    const auto convert
        = hasChromaPlanes(format_.layout) ? libyuv::I420ToARGBMatrix : libyuv::I422ToARGBMatrix;
    convert(luma.samples, luma.bytesPerRow, blue.samples, blue.bytesPerRow, red.samples, red.bytesPerRow,
        pixels, target.bytesPerRow, constants, target.width, rows);
}

void RawFrameConverter::convert(std::span<const std::byte> frame, platform::CVPixelBuffer& buffer)
{
    const auto* source = reinterpret_cast<const std::uint8_t*>(frame.data());
    const auto sourceBytesPerRow = static_cast<int>(format_.bytesPerRow);
    const Target target(buffer);
    switch (format_.layout) {
    case PixelLayout::yuyv:
    case PixelLayout::uyvy:
    case PixelLayout::nv12:
    case PixelLayout::i420:
    case PixelLayout::yv12:
        return convertLumaAndChroma(source, buffer);
    case PixelLayout::bgrx:
        copyOpaque(format_, source, target);
        break;
    case PixelLayout::bgr:
        libyuv::RGB24ToARGB(
            source, sourceBytesPerRow, target.pixels, target.bytesPerRow, target.width, target.height);
        break;
    case PixelLayout::rgb:
        libyuv::RAWToARGB(
            source, sourceBytesPerRow, target.pixels, target.bytesPerRow, target.width, target.height);
        break;
    case PixelLayout::jpeg:
        return;
    }
    if (format_.range == ColourRange::limited)
        expandPixels(target);
}

bool convertPlanarPicture(const PlanarPicture& picture, platform::CVPixelBuffer& buffer)
{
    const auto* constants = constantsOf(ColourMatrix::bt601, ColourRange::full);
    const Target target(buffer);
    if (picture.blue.samples == nullptr) {
        return libyuv::I400ToARGBMatrix(picture.luma.samples, picture.luma.bytesPerRow, target.pixels,
                   target.bytesPerRow, constants, target.width, target.height)
            == 0;
    }
    const auto convert = [&](auto conversion) {
        return conversion(picture.luma.samples, picture.luma.bytesPerRow, picture.blue.samples,
                   picture.blue.bytesPerRow, picture.red.samples, picture.red.bytesPerRow, target.pixels,
                   target.bytesPerRow, constants, target.width, target.height)
            == 0;
    };
    if (picture.horizontalStep == 2 && picture.verticalStep == 2)
        return convert(libyuv::I420ToARGBMatrix);
    if (picture.horizontalStep == 2 && picture.verticalStep == 1)
        return convert(libyuv::I422ToARGBMatrix);
    if (picture.horizontalStep == 1 && picture.verticalStep == 1)
        return convert(libyuv::I444ToARGBMatrix);
    return false;
}

} // namespace tamsel::host
