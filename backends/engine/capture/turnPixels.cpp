#include <engine/capture/turnPixels.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>
#include <cstring>

namespace tamsel::engine {

using namespace platform;

namespace {

// A tile of 32 by 32 pixels is 4 KiB in the source and in the target, so both stay in the L1 cache.
constexpr std::size_t tile = 32;

// From a device held with the home side at the right to one held in portrait is a quarter turn clockwise. So the
// scene is stored a quarter turn counter-clockwise, and the picture needs a quarter turn clockwise.
int turnsToPortrait(AVCaptureVideoOrientation orientation)
{
    switch (orientation) {
    case AVCaptureVideoOrientation::portrait:
        return 0;
    case AVCaptureVideoOrientation::landscapeRight:
        return 1;
    case AVCaptureVideoOrientation::portraitUpsideDown:
        return 2;
    case AVCaptureVideoOrientation::landscapeLeft:
        return 3;
    }
    return 0;
}

const std::uint32_t* row(const CVPixelBuffer& buffer, std::size_t y)
{
    return reinterpret_cast<const std::uint32_t*>(buffer.baseAddress() + y * buffer.bytesPerRow());
}

std::uint32_t* row(CVPixelBuffer& buffer, std::size_t y)
{
    return reinterpret_cast<std::uint32_t*>(buffer.baseAddress() + y * buffer.bytesPerRow());
}

template <bool Clockwise> void turnQuarter(const CVPixelBuffer& source, CVPixelBuffer& target)
{
    const std::size_t width = target.width();
    const std::size_t height = target.height();
    const std::size_t sourceStride = source.bytesPerRow() / 4;
    for (std::size_t top = 0; top < height; top += tile) {
        const std::size_t bottom = std::min(top + tile, height);
        for (std::size_t left = 0; left < width; left += tile) {
            const std::size_t right = std::min(left + tile, width);
            for (std::size_t y = top; y < bottom; ++y) {
                std::uint32_t* out = row(target, y);
                // A row of the target is a column of the source.
                const std::uint32_t* column = row(source, 0) + (Clockwise ? y : height - 1 - y);
                for (std::size_t x = left; x < right; ++x)
                    out[x] = column[(Clockwise ? width - 1 - x : x) * sourceStride];
            }
        }
    }
}

void turnHalf(const CVPixelBuffer& source, CVPixelBuffer& target)
{
    for (std::size_t y = 0; y < target.height(); ++y) {
        const std::uint32_t* in = row(source, source.height() - 1 - y);
        std::reverse_copy(in, in + source.width(), row(target, y));
    }
}

} // namespace

int quarterTurns(AVCaptureVideoOrientation sensor, AVCaptureVideoOrientation interface)
{
    return (turnsToPortrait(sensor) - turnsToPortrait(interface) + 4) % 4;
}

AVCaptureVideoOrientation sensorUprightAfter(int quarterTurns)
{
    static constexpr std::array orientations{AVCaptureVideoOrientation::portrait,
        AVCaptureVideoOrientation::landscapeRight, AVCaptureVideoOrientation::portraitUpsideDown,
        AVCaptureVideoOrientation::landscapeLeft};
    return orientations.at(static_cast<std::size_t>(quarterTurns));
}

CGImagePropertyOrientation orientationAfter(int quarterTurns)
{
    static constexpr std::array orientations{CGImagePropertyOrientation::up,
        CGImagePropertyOrientation::right, CGImagePropertyOrientation::down,
        CGImagePropertyOrientation::left};
    return orientations.at(static_cast<std::size_t>(quarterTurns));
}

void turnPixels(const CVPixelBuffer& source, CVPixelBuffer& target, int quarterTurns)
{
    assert(quarterTurns % 2 == 0 ? source.width() == target.width() && source.height() == target.height()
                                 : source.width() == target.height() && source.height() == target.width());
    switch (quarterTurns) {
    case 1:
        turnQuarter<true>(source, target);
        break;
    case 2:
        turnHalf(source, target);
        break;
    case 3:
        turnQuarter<false>(source, target);
        break;
    default:
        for (std::size_t y = 0; y < source.height(); ++y)
            std::memcpy(row(target, y), row(source, y), source.width() * 4);
    }
}

CameraIntrinsicMatrix turnMatrix(
    const CameraIntrinsicMatrix& matrix, std::size_t width, std::size_t height, int quarterTurns)
{
    const float fx = matrix.rows[0];
    const float cx = matrix.rows[2];
    const float fy = matrix.rows[4];
    const float cy = matrix.rows[5];
    const float right = static_cast<float>(width) - 1;
    const float bottom = static_cast<float>(height) - 1;
    switch (quarterTurns) {
    case 1:
        return {{fy, 0, bottom - cy, 0, fx, cx, 0, 0, 1}};
    case 2:
        return {{fx, matrix.rows[1], right - cx, 0, fy, bottom - cy, 0, 0, 1}};
    case 3:
        return {{fy, 0, cy, 0, fx, right - cx, 0, 0, 1}};
    default:
        return matrix;
    }
}

CameraIntrinsicMatrix enlargeMatrix(
    const CameraIntrinsicMatrix& matrix, const CGRect& part, std::size_t width, std::size_t height)
{
    const auto across = static_cast<float>(static_cast<double>(width) / part.size.width);
    const auto down = static_cast<float>(static_cast<double>(height) / part.size.height);
    // Places count from the centre of the first pixel.
    const auto moved = [](float centre, double origin, float factor) {
        return (centre + 0.5F - static_cast<float>(origin)) * factor - 0.5F;
    };
    CameraIntrinsicMatrix enlarged = matrix;
    enlarged.rows[0] *= across;
    enlarged.rows[1] *= across;
    enlarged.rows[2] = moved(matrix.rows[2], part.origin.x, across);
    enlarged.rows[4] *= down;
    enlarged.rows[5] = moved(matrix.rows[5], part.origin.y, down);
    return enlarged;
}

} // namespace tamsel::engine
