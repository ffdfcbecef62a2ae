#include <engine/motion/TiltFilter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <utility>

namespace tamsel::tests {

using engine::MotionVector;
using engine::TiltFilter;

namespace {

constexpr double gravity = 9.81;
constexpr double degree = std::numbers::pi / 180;

/// A device that moves about its x axis only, 50 samples a second.
struct Motion {
    std::function<double(double)> pitch = [](double) { return 0.0; }; ///< degrees
    std::function<MotionVector(double)> shaking = [](double) { return MotionVector{}; }; ///< m/s²
    double bias = 0; ///< of the gyroscope, rad/s
    bool hasGyroscope = true;

    /// The largest error of the pitch between two times, in degrees.
    double largestError(double from, double to) const
    {
        constexpr double step = 0.02;
        TiltFilter filter;
        double largest = 0;
        for (double time = 0; time < to; time += step) {
            const double angle = pitch(time) * degree;
            const MotionVector extra = shaking(time);
            const double rate
                = std::clamp((pitch(time + 1e-4) - pitch(time - 1e-4)) / 2e-4 * degree, -35.0, 35.0);
            filter.add(time,
                {extra[0], extra[1] + gravity * std::sin(angle), extra[2] + gravity * std::cos(angle)},
                hasGyroscope ? std::optional(MotionVector{rate + bias, bias, bias}) : std::nullopt);
            if (time >= from)
                largest = std::max(largest, std::abs(filter.attitude().value().pitch - angle) / degree);
        }
        return largest;
    }
};

} // namespace

TEST(TiltFilter, TakesThePitchOfTheFirstSampleFromGravity)
{
    const struct {
        MotionVector up;
        double pitch;
        double roll;
    } cases[] = {
        {{0, 0, 1}, 0, 0}, // on a table
        {{0, 3, 0}, 90, 0}, // upright
        {{0, -3, 0}, -90, 0}, {{0, 1, 1}, 45, 0}, {{1, 0, 0}, 0, -90}, // on its left side
        {{0, 1, -1}, 45, 180}, // leaning over, seen from below
    };
    for (const auto& [up, pitch, roll] : cases) {
        TiltFilter filter;
        filter.add(5, up, std::nullopt);
        EXPECT_NEAR(filter.attitude().value().pitch, pitch * degree, 1e-9);
        EXPECT_NEAR(std::remainder(filter.attitude()->roll - roll * degree, 2 * std::numbers::pi), 0, 1e-9);
    }
}

TEST(TiltFilter, ConvergesFollowsAndKeepsStillWhenShaken)
{
    const auto tilted = [](double time) { return time < 1 ? 0.0 : 60.0; }; // too fast for any gyroscope
    const auto lifted = [](double time) { return 80 * std::clamp(time - 1, 0.0, 1.0); };
    const auto held = [](double) { return 50.0; };
    const auto shaken = [](double hertz, double size) {
        return [=](double time) {
            const double value = size * std::sin(2 * std::numbers::pi * hertz * time);
            return MotionVector{value, value, -value};
        };
    };
    for (const bool hasGyroscope : {true, false}) {
        SCOPED_TRACE(hasGyroscope ? "with a gyroscope" : "without a gyroscope");
        const double bias = hasGyroscope ? 0.05 : 0;
        EXPECT_LT(
            (Motion{.pitch = tilted, .bias = bias, .hasGyroscope = hasGyroscope}.largestError(40, 60)), 1);
        for (const auto& [hertz, size] :
            {std::pair(2.0, 5.0), {4.0, 12.0}}) { // along y and z 0.7 and 1.7 times gravity
            const Motion motion{.pitch = held, .shaking = shaken(hertz, size), .hasGyroscope = hasGyroscope};
            EXPECT_LT(motion.largestError(0, 30), hasGyroscope ? 5 : 10) << hertz << " Hz";
        }
    }
    EXPECT_LT((Motion{.pitch = lifted}.largestError(0, 5)), 2) << "the gyroscope shows a turn at once";
    EXPECT_GT((Motion{.pitch = lifted, .hasGyroscope = false}.largestError(0, 5)), 20);
    EXPECT_LT((Motion{.pitch = lifted, .hasGyroscope = false}.largestError(7, 9)), 1);
}

TEST(TiltFilter, BeginsAnewAfterAGap)
{
    TiltFilter filter;
    filter.add(0, {0, 0, 0}, std::nullopt);
    EXPECT_FALSE(filter.attitude()) << "in free fall";
    filter.add(0.02, {0, 0, 9}, std::nullopt);
    filter.add(0.04, {0, 0, 0}, std::nullopt);
    EXPECT_NEAR(filter.attitude().value().pitch, 0, 1e-9) << "a short fall changes nothing";
    for (const double time : {1.05, 0.5}) {
        filter.add(time, {0, 9, 0}, std::nullopt);
        EXPECT_NEAR(filter.attitude().value().pitch, 90 * degree, 1e-9);
        filter.add(time + 0.02, {0, 1e9, 1e9}, std::nullopt);
        EXPECT_GT(filter.attitude().value().pitch, 85 * degree) << "a single large value counts little";
    }
}

} // namespace tamsel::tests
