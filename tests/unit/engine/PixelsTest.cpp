#include <engine/capture/BufferPool.h>
#include <engine/capture/turnPixels.h>

#include <gtest/gtest.h>

#include <cstring>

namespace tamsel::tests {

using namespace platform;
using engine::BufferPool;

namespace {

std::uint32_t at(const CVPixelBuffer& buffer, std::size_t x, std::size_t y)
{
    std::uint32_t value = 0;
    std::memcpy(&value, buffer.pixel(x, y), 4);
    return value;
}

} // namespace

TEST(TurnedPixels, StandWhereAClockwiseTurnBringsThem)
{
    for (const auto& [width, height] :
        {std::pair<std::size_t, std::size_t>{1, 1}, {3, 2}, {65, 33}, {32, 64}, {101, 7}}) {
        CVPixelBuffer source(width, height);
        for (std::size_t y = 0; y < height; ++y) {
            for (std::size_t x = 0; x < width; ++x) {
                const auto value = static_cast<std::uint32_t>(y * width + x);
                std::memcpy(source.baseAddress() + y * source.bytesPerRow() + x * 4, &value, 4);
            }
        }
        for (int turns = 0; turns < 4; ++turns) {
            EXPECT_EQ(
                engine::quarterTurns(engine::sensorUprightAfter(turns), AVCaptureVideoOrientation::portrait),
                turns);
            const bool isOdd = turns % 2 != 0;
            CVPixelBuffer target(isOdd ? height : width, isOdd ? width : height);
            engine::turnPixels(source, target, turns);
            for (std::size_t y = 0; y < height; ++y) {
                for (std::size_t x = 0; x < width; ++x) {
                    const std::size_t column = turns == 0 ? x
                        : turns == 1                      ? height - 1 - y
                        : turns == 2                      ? width - 1 - x
                                                          : y;
                    const std::size_t row = turns == 0 ? y
                        : turns == 1                   ? x
                        : turns == 2                   ? height - 1 - y
                                                       : width - 1 - x;
                    ASSERT_EQ(at(target, column, row), y * width + x)
                        << width << "x" << height << " turned " << turns;
                }
            }
        }
    }
}

TEST(BufferPools, HandOutAFixedNumberAndTakeBackWhatComesLate)
{
    auto pool = std::make_unique<BufferPool>(2);
    auto first = pool->acquire(8, 8);
    auto second = pool->acquire(8, 8);
    EXPECT_EQ(pool->acquire(8, 8), nullptr);
    CVPixelBuffer* address = first.get();
    first->setTiming(FrameTiming{.captureTime = {}, .mediaTime = {}, .sequence = 7});
    first.reset();
    first = pool->acquire(8, 8);
    EXPECT_EQ(first.get(), address);
    EXPECT_EQ(first->timing(), std::nullopt) << "attachments are renewed";

    first.reset(); // of the old size: its place is used for the new one
    auto other = pool->acquire(16, 4);
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(other->width(), 16U);
    EXPECT_EQ(pool->acquire(8, 8), nullptr);
    pool.reset();
    std::memset(second->baseAddress(), 1, second->bytesPerRow() * second->height());
}

} // namespace tamsel::tests
