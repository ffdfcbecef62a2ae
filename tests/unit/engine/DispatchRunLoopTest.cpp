#include <support/Memory.h>
#include <unit/engine/DispatchSupport.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <poll.h>
#include <thread>
#include <vector>

namespace tamsel::tests {

namespace {

using engine::ThreadedDispatch;
using engine::ThreadRunLoop;
using namespace std::chrono_literals;

bool isReadable(int descriptor, int milliseconds)
{
    pollfd entry{.fd = descriptor, .events = POLLIN, .revents = 0};
    return ::poll(&entry, 1, milliseconds) == 1;
}

TEST(DispatchRunLoop, AForeignLoopDrivesItByOneDescriptor)
{
    ThreadedDispatch dispatch(2);
    ThreadRunLoop& loop = dispatch.mainLoop();
    EXPECT_FALSE(isReadable(loop.descriptor(), 0));

    int ran = 0;
    const auto main = dispatch.mainQueue();
    const auto queue = dispatch.makeSerialQueue("other thread");
    for (int count = 0; count < 300; ++count)
        queue->async([&ran, main] { main->async([&ran] { ++ran; }); });
    int ticks = 0;
    const auto timer = loop.scheduleTimer(2ms, true, [&ticks](platform::Timer& self) {
        if (++ticks == 5)
            self.invalidate();
    });
    while (ran < 300 || ticks < 5) {
        ASSERT_TRUE(isReadable(loop.descriptor(), 60'000));
        loop.runOnce(0ns);
    }
    // Nothing is left to do, so the foreign loop sleeps, at the latest after one look: also when a timer was ended
    // before its time.
    const auto ended = loop.scheduleTimer(1ms, true, [](platform::Timer&) { ADD_FAILURE(); });
    ended->invalidate();
    (void)isReadable(loop.descriptor(), 20);
    loop.runOnce(0ns);
    EXPECT_FALSE(isReadable(loop.descriptor(), 0));
}

TEST(DispatchRunLoop, RunsWholeUntilStoppedOrOnceWithALimit)
{
    ThreadedDispatch dispatch(2);
    ThreadRunLoop& loop = dispatch.mainLoop();
    EXPECT_FALSE(loop.runOnce(0ns));
    EXPECT_FALSE(loop.runOnce(1ms));
    const auto main = dispatch.mainQueue();
    int ran = 0;
    main->async([&ran] { ++ran; });
    EXPECT_TRUE(loop.runOnce(patience));
    EXPECT_EQ(ran, 1);

    const auto limit = loop.scheduleTimer(patience, false, [](platform::Timer&) { giveUp(); });
    loop.stop(); // ends the next run, too
    loop.run();
    dispatch.globalQueue()->async([&] { main->async([&] { ++ran; }); });
    std::jthread stopper([&] { main->async([&loop] { loop.stop(); }); });
    loop.run();
    dispatch.globalQueue()->async([&loop] { loop.stop(); });
    loop.run();
    runUntil(loop, [&ran] { return ran == 2; });

    loop.stop(); // is about `run`
    bool hasPassed = false;
    const auto timer = loop.scheduleTimer(5ms, false, [&hasPassed](platform::Timer&) { hasPassed = true; });
    loop.runOnce(patience);
    EXPECT_TRUE(hasPassed);
}

TEST(DispatchRunLoop, ALateLoopSkipsMissedTicksAndFiresInTheOrderOfTimes)
{
    ThreadedDispatch dispatch(2);
    ThreadRunLoop& loop = dispatch.mainLoop();
    constexpr auto interval = 10ms;
    std::vector<std::chrono::steady_clock::time_point> fired;
    const auto begin = std::chrono::steady_clock::now();
    const auto timer = loop.scheduleTimer(interval, true, [&](platform::Timer&) {
        fired.push_back(std::chrono::steady_clock::now());
        if (fired.size() == 1)
            std::this_thread::sleep_until(begin + 5 * interval + interval / 2); // the work that makes it late
    });
    runUntil(loop, [&fired] { return fired.size() == 3; });
    timer->invalidate();
    // One late tick for all that were missed, and then the next one of the phase.
    EXPECT_GE(fired[1] - begin, 5 * interval + interval / 2);
    EXPECT_GE(fired[2] - begin, 6 * interval);

    std::vector<int> order;
    const auto third = loop.scheduleTimer(9ms, false, [&order](platform::Timer&) { order.push_back(3); });
    const auto first = loop.scheduleTimer(1ms, false, [&order](platform::Timer&) { order.push_back(1); });
    const auto second = loop.scheduleTimer(2ms, false, [&order](platform::Timer&) { order.push_back(2); });
    const auto due = std::chrono::steady_clock::now() + 9ms;
    std::this_thread::sleep_until(due); // of all three
    runUntil(loop, [&order] { return order.size() == 3; });
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(DispatchRunLoop, ALoopThatIsRunInsideATimersBlockDoesNotEnterTheBlockAgain)
{
    ThreadedDispatch dispatch(2);
    ThreadRunLoop& loop = dispatch.mainLoop();
    int depth = 0;
    int others = 0;
    const auto other = loop.scheduleTimer(1ms, true, [&others](platform::Timer&) { ++others; });
    bool isDone = false;
    const auto outer = loop.scheduleTimer(1ms, true, [&](platform::Timer& self) {
        EXPECT_EQ(++depth, 1);
        const int enough = others + 3;
        runUntil(loop, [&] { return others >= enough; });
        --depth;
        self.invalidate();
        isDone = true;
    });
    runUntil(loop, [&isDone] { return isDone; });
}

TEST(DispatchRunLoop, AThreadsLoopEndsWithItsThreadAndIsInheritedByNone)
{
    auto dispatch = std::make_unique<ThreadedDispatch>(2);
    const auto descriptors = countOwn("fd");
    std::weak_ptr<int> weak;
    for (int count = 0; count < 50; ++count) {
        // Threads one after the other reuse each other's identifier.
        std::thread([&] {
            EXPECT_TRUE(weak.expired());
            platform::RunLoop& loop = dispatch->current();
            EXPECT_EQ(&loop, &dispatch->current());
            EXPECT_NE(&loop, &dispatch->mainLoop());
            EXPECT_EQ(countOwn("fd"), descriptors + 3);
            auto token = std::make_shared<int>();
            weak = token;
            loop.scheduleTimer(1ms, true, [token = std::move(token)](platform::Timer&) { });
        }).join();
    }
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(countOwn("fd"), descriptors);
}

TEST(DispatchRunLoop, AThreadsLoopMayOutliveTheDispatch)
{
    const auto descriptors = countOwn("fd");
    std::thread([] {
        auto other = std::make_unique<ThreadedDispatch>(2);
        for (int count = 0; count < 20; ++count) {
            std::unique_ptr<ThreadedDispatch> dispatch;
            std::thread([&dispatch] { dispatch = std::make_unique<ThreadedDispatch>(2); }).join();
            const auto token = std::make_shared<int>();
            auto timer = dispatch->current().scheduleTimer(1ms, true, [token](platform::Timer&) { });
            EXPECT_FALSE(dispatch->isMainThread());
            dispatch.reset();
            EXPECT_EQ(token.use_count(), 2);
            timer->invalidate();
            EXPECT_EQ(token.use_count(), 1);
        }
    }).join();
    EXPECT_EQ(countOwn("fd"), descriptors);
}

} // namespace

} // namespace tamsel::tests
