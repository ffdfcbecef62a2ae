#include "contract/PlatformUnderTest.h"

#include <tamsel/platform/CMMotionManager.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/MotionServices.h>

#include <gtest/gtest.h>

#include <atomic>

namespace tamsel::tests {

using namespace platform;
using namespace std::chrono_literals;

class MotionContract : public testing::TestWithParam<BackEnd> {
protected:
    /// Counts the samples of a stream, and checks that they come on its queue, one at a time.
    template <typename Sample> CMHandler<Sample> counting(std::atomic<int>& count)
    {
        return [this, &count, busy = std::make_shared<std::atomic<bool>>(false)](
                   const std::optional<Sample>& sample, const std::shared_ptr<const Error>& error) {
            EXPECT_FALSE(busy->exchange(true));
            EXPECT_TRUE(queue_->isCurrent());
            EXPECT_TRUE(sample.has_value());
            EXPECT_EQ(error, nullptr);
            ++count;
            busy->store(false);
        };
    }

    void TearDown() override
    {
        if (manager_) {
            manager_->stopGyroUpdates();
            manager_->stopDeviceMotionUpdates();
        }
        settle();
    }

    /// Waits until nothing more is under way on the queue.
    void settle()
    {
        std::atomic<bool> isDone = false;
        queue_->async([&] { isDone = true; });
        ASSERT_TRUE(test_->runUntil([&] { return isDone.load(); }));
    }

    std::unique_ptr<PlatformUnderTest> test_ = GetParam().make();
    std::shared_ptr<DispatchQueue> queue_ = test_->makeQueue("motion samples");
    std::shared_ptr<CMMotionManager> manager_ = test_->platform().motion.makeMotionManager();
    std::atomic<int> gyro_ = 0;
    std::atomic<int> deviceMotion_ = 0;
};

TEST_P(MotionContract, RunsTwoStreamsThatAreStartedAndStoppedOnTheirOwn)
{
    EXPECT_TRUE(manager_->isGyroAvailable());
    EXPECT_TRUE(manager_->isDeviceMotionAvailable());
    manager_->stopGyroUpdates();
    EXPECT_FALSE(manager_->isGyroActive());
    manager_->setGyroUpdateInterval(0.01);
    manager_->setDeviceMotionUpdateInterval(0.005);
    manager_->startGyroUpdates(queue_, counting<CMGyroData>(gyro_));
    EXPECT_TRUE(manager_->isGyroActive());
    EXPECT_FALSE(manager_->isDeviceMotionActive());
    manager_->startGyroUpdates(
        queue_, [](const auto&, const auto&) { FAIL() << "a second start has no effect"; });
    ASSERT_TRUE(test_->runUntil([&] { return gyro_ >= 5; }));
    EXPECT_EQ(deviceMotion_, 0);
    manager_->startDeviceMotionUpdates(queue_, counting<CMDeviceMotion>(deviceMotion_));
    ASSERT_TRUE(test_->runUntil([&] { return deviceMotion_ >= 5; }));
    manager_->stopGyroUpdates();
    EXPECT_FALSE(manager_->isGyroActive());
    EXPECT_TRUE(manager_->isDeviceMotionActive());
    settle();
    const int heard = gyro_;
    const int before = deviceMotion_;
    ASSERT_TRUE(test_->runUntil([&] { return deviceMotion_ >= before + 20; }));
    EXPECT_EQ(gyro_, heard) << "nothing comes after a stop but what waits on the queue";
    manager_->startGyroUpdates(queue_, counting<CMGyroData>(gyro_));
    ASSERT_TRUE(test_->runUntil([&] { return gyro_ > heard; }));
}

TEST_P(MotionContract, KeepsThePaceThatIsAskedForAndChangesItWhileItRuns)
{
    Clock& clock = test_->platform().clock;
    const auto start = clock.monotonic();
    manager_->setGyroUpdateInterval(0.02);
    manager_->startGyroUpdates(queue_, counting<CMGyroData>(gyro_));
    ASSERT_TRUE(test_->runUntil([&] { return gyro_ >= 1; }));
    EXPECT_GE(clock.monotonic() - start, 20ms) << "the first comes an interval after the start";
    ASSERT_TRUE(test_->runUntil([&] { return gyro_ >= 5; }));
    EXPECT_GE(clock.monotonic() - start, 100ms);
    manager_->setGyroUpdateInterval(1000);
    settle();
    const int slow = gyro_;
    test_->runFor(100ms);
    EXPECT_EQ(gyro_, slow);
    manager_->setGyroUpdateInterval(0.01);
    ASSERT_TRUE(test_->runUntil([&] { return gyro_ >= slow + 5; }));
    for (const double odd : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
        manager_->setGyroUpdateInterval(odd);
        const int before = gyro_;
        ASSERT_TRUE(test_->runUntil([&] { return gyro_ >= before + 20; })) << "as fast as the device can";
    }
    manager_->setGyroUpdateInterval(std::numeric_limits<double>::infinity());
    settle();
    const int last = gyro_;
    test_->runFor(50ms);
    EXPECT_EQ(gyro_, last);
}

TEST_P(MotionContract, EndsTheStreamsOfAManagerThatGoesAwayAndNoOther)
{
    std::atomic<int> other = 0;
    const auto otherManager = test_->platform().motion.makeMotionManager();
    for (CMMotionManager* manager : {manager_.get(), otherManager.get()})
        manager->setGyroUpdateInterval(0.005);
    manager_->startGyroUpdates(queue_, counting<CMGyroData>(gyro_));
    otherManager->startGyroUpdates(queue_, [&](const auto&, const auto&) { ++other; });
    ASSERT_TRUE(test_->runUntil([&] { return gyro_ >= 3 && other >= 3; }));
    manager_.reset();
    settle();
    const int heard = gyro_;
    const int before = other;
    ASSERT_TRUE(test_->runUntil([&] { return other >= before + 20; }));
    EXPECT_EQ(gyro_, heard);

    // Also from inside its own handler.
    const auto third
        = std::make_shared<std::shared_ptr<CMMotionManager>>(test_->platform().motion.makeMotionManager());
    std::atomic<bool> isGone = false;
    (*third)->setGyroUpdateInterval(0.005);
    (*third)->startGyroUpdates(queue_, [third, &isGone](const auto&, const auto&) {
        third->reset();
        isGone = true;
    });
    ASSERT_TRUE(test_->runUntil([&] { return isGone.load(); }));
    otherManager->stopGyroUpdates();
    settle();
}

INSTANTIATE_TEST_SUITE_P(
    BackEnds, MotionContract, testing::ValuesIn(backEnds()), testing::PrintToStringParamName());

} // namespace tamsel::tests
