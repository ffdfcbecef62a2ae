#include "support/ReplacedServices.h"

#include <simulated/Phone.h>

#include <tamsel/motion/FacingAngleWorker.h>
#include <tamsel/motion/StabilityWorker.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tamsel::tests {

using namespace platform;

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

/// A worker on its own, and what it has told.
struct Bench {
    template <typename Worker> void listen(Worker& worker)
    {
        worker.setResponseQueue(phone.makeQueue("response"));
        worker.setUpdateCallback([this](const MotionHelperWorker::Outcome& outcome) {
            told += outcome ? (*outcome ? "+" : "-") : "!";
        });
    }

    /// What has been told since the last call: + and - for the verdicts, ! for a failure.
    std::string take()
    {
        EXPECT_EQ(told, "") << "told inside the call";
        phone.run();
        return std::exchange(told, {});
    }

    simulated::Phone phone;
    ScriptedClock clock;
    Platform platform = with(phone.platform(), clock);
    std::string told;
};

struct Stability : Bench {
    explicit Stability(double threshold = 0.5, double duration = 1) : worker(threshold, duration, platform)
    {
        listen(worker);
    }

    std::string sample(double time, CMRotationRate rate)
    {
        clock.now = time;
        worker.handleGyroData(CMGyroData{.rotationRate = rate, .timestamp = -time}, std::nullopt);
        return take();
    }
    std::string sample(double time, double x = 0) { return sample(time, {x, 0, 0}); }
    /// A quarter of a second apart, beginning at 10.
    std::string rates(const std::vector<CMRotationRate>& rates)
    {
        std::string all;
        for (std::size_t index = 0; index < rates.size(); ++index)
            all += sample(10 + 0.25 * static_cast<double>(index), rates[index]);
        return all;
    }

    StabilityWorker worker;
};

struct FacingAngle : Bench {
    explicit FacingAngle(double angle) : worker(angle, platform) { listen(worker); }

    std::string pitches(const std::vector<double>& pitches)
    {
        std::string all;
        for (const double each : pitches)
            all += pitch(each);
        return all;
    }
    std::string pitch(double pitch)
    {
        worker.handleDeviceMotion(
            CMDeviceMotion{.attitude = {.pitch = pitch}, .rotationRate = {9, 9, 9}}, std::nullopt);
        return take();
    }

    FacingAngleWorker worker;
};

} // namespace

TEST(StabilityWorker, SaysStableAFullDurationAfterTheFirstStableEvaluationAndUnstableAtOnce)
{
    struct Sample {
        double time;
        double x = 0;
    };
    struct Case {
        const char* what;
        std::vector<Sample> samples;
        const char* told; ///< at each sample
        double stableSince;
    };
    for (const auto& [what, samples, told, stableSince] :
        std::vector<Case>{{"one sample is not evaluated", {{100}}, ".", 0},
            {"exactly the duration counts, once",
                {{100}, {100.25}, {100.5}, {100.75}, {101}, {101.2}, {101.25}, {101.5}, {102}, {103}},
                "......+...", 100.25},
            {"a shaken sample is in the window until it is exactly the duration old",
                {{10}, {10.25}, {10.5}, {10.75}, {11}, {11.25}, {11.5, 2}, {11.75}, {12}, {12.25}, {12.5},
                    {12.75}, {13}, {13.25}, {13.5}},
                ".....+-.......+", 12.5},
            {"the first verdict of all may be that it moves", {{20}, {20.25}, {20.5, -2}}, "..-", 0},
            {"a steady turn is stable", {{10, 40}, {10.25, 40}, {10.75, 40}, {11.25, 40}}, "...+", 10.25},
            {"each near its neighbour, but not near the oldest", {{10}, {10.25, 0.4}, {10.5, 0.8}}, "..-", 0},
            {"one in the middle is enough", {{10}, {10.25, 0.6}, {10.5}}, ".-.", 0},
            {"0.9 apart, each within 0.5 of the oldest", {{10, 0.4}, {10.25, -0.05}, {10.5, 0.85}}, "...",
                10.25},
            {"a sample alone says nothing, and the stable period goes on",
                {{10}, {10.25}, {10.5}, {11.5, 7}, {11.75, 7}}, "....+", 10.25},
            {"the wall clock is set back: the oldest is still the first that came",
                {{100, 3}, {50, 3}, {50.25}, {51.5, 3}}, "..-.", 51.5}}) {
        Stability stability;
        std::string heard;
        for (const Sample& sample : samples) {
            const std::string verdict = stability.sample(sample.time, sample.x);
            heard += verdict.empty() ? "." : verdict;
        }
        EXPECT_EQ(heard, told) << what;
        EXPECT_EQ(stability.worker.latestStableTimestamp(), stableSince) << what;
    }
}

TEST(StabilityWorker, AllowsExactlyTheThreshold)
{
    const auto second = [](CMRotationRate rate) {
        Stability stability(5, 1);
        const std::string told = stability.rates({{1, 1, 1}, rate});
        EXPECT_EQ(stability.worker.latestStableTimestamp() == 10.25, told.empty());
        return told;
    };
    EXPECT_EQ(second({6, 1, 1}), "");
    EXPECT_EQ(second({1, -4, 1}), "");
    EXPECT_EQ(second({1, 1, 6}), "");
    EXPECT_EQ(second({4, 1, 5}), "") << "3, 0 and 4 make 5";
    EXPECT_EQ(second({1, 5, -2}), "");
    EXPECT_EQ(second({std::nextafter(6, 7), 1, 1}), "-");
    EXPECT_EQ(second({4, 5, 1.001}), "-");
    EXPECT_EQ(second({4, 1.1, 5}), "-");
    EXPECT_EQ(second({notANumber, 1, 1}), "-");
    EXPECT_EQ(second({1, 1, infinity}), "-");

    Stability fromNowhere(5, 1);
    EXPECT_EQ(fromNowhere.rates({{notANumber, 0, 0}, {}}), "-");
    Stability unlimited(infinity, 1);
    EXPECT_EQ(unlimited.rates({{}, {1e300, 0, 0}}), "");
    Stability undefined(notANumber, 1);
    EXPECT_EQ(undefined.rates({{}, {}}), "-");
}

TEST(StabilityWorker, ReadsTheClockInEachStepAnew)
{
    Stability stability;
    stability.clock.planned = {10, 12};
    EXPECT_EQ(stability.sample(0), "");
    EXPECT_EQ(stability.clock.reads, 2);
    stability.clock.planned = {12.25, 12.25};
    EXPECT_EQ(stability.sample(0), "") << "the first was too old already when it was put in";
    EXPECT_EQ(stability.clock.reads, 4);
    stability.clock.planned = {12.5, 12.75, 13};
    EXPECT_EQ(stability.sample(0), "");
    EXPECT_EQ(stability.worker.latestStableTimestamp(), 13) << "not when the sample came";
    stability.clock.planned = {13, 13.25, 14};
    EXPECT_EQ(stability.sample(0), "+");
    EXPECT_EQ(stability.clock.reads, 10);
    stability.clock.planned = {13.25, 13.5};
    EXPECT_EQ(stability.sample(0, 1), "-") << "13 and 13.25 are both younger than a second";
    EXPECT_EQ(stability.clock.reads, 12);
    stability.worker.handleGyroData(std::nullopt, std::nullopt);
    EXPECT_EQ(stability.clock.reads, 12);
}

TEST(FacingAngleWorker, TellsTheFirstVerdictAndEachChange)
{
    FacingAngle facing(45);
    EXPECT_EQ(facing.worker.minAngle(), 0.7853981633974483);
    EXPECT_EQ(facing.pitch(0.7853981633974483), "+");
    EXPECT_EQ(facing.pitch(1.5), "");
    EXPECT_EQ(facing.pitch(std::nextafter(0.7853981633974483, 0)), "-");
    EXPECT_EQ(facing.pitch(-1.5), "");
    EXPECT_EQ(facing.pitch(1), "+");
    EXPECT_EQ(facing.pitch(notANumber), "-");
    EXPECT_EQ(facing.pitch(infinity), "+");

    FacingAngle level(0);
    EXPECT_EQ(level.pitches({-1e-300, 0}), "-+");
    FacingAngle unreachable(90.1);
    EXPECT_EQ(unreachable.pitches({std::numbers::pi / 2, 1, -1}), "-");
    FacingAngle down(-30);
    EXPECT_EQ(down.pitches({-0.5, -0.6}), "+-");
    // The product first: dividing first gives another last digit for this angle.
    EXPECT_EQ(FacingAngle(12).worker.minAngle(), 12 * std::numbers::pi / 180.0);
    EXPECT_NE(12 * std::numbers::pi / 180.0, 12 * (std::numbers::pi / 180.0));
}

TEST(MotionWorkers, DecideWithoutAListenerAndFallBackToTheMainQueue)
{
    Stability stability;
    EXPECT_TRUE(stability.worker.updateCallback());
    stability.worker.setUpdateCallback({});
    EXPECT_FALSE(stability.worker.updateCallback());
    EXPECT_EQ(stability.rates({{}, {9, 0, 0}}), "");
    EXPECT_EQ(stability.worker.latestStatus(), false);

    FacingAngle facing(10);
    bool isOnMain = false;
    facing.worker.setResponseQueue(nullptr);
    facing.worker.setUpdateCallback([&](const MotionHelperWorker::Outcome&) {
        isOnMain = facing.phone.platform().dispatch.mainQueue()->isCurrent();
    });
    facing.pitch(1);
    EXPECT_TRUE(isOnMain);
    EXPECT_NE(FacingAngle(1).worker.id(), facing.worker.id());
}

} // namespace tamsel::tests
