#include <unit/engine/DispatchSupport.h>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

namespace tamsel::tests {

namespace {

using engine::ThreadedDispatch;
using Queue = std::shared_ptr<platform::DispatchQueue>;

TEST(DispatchPool, ManyProducersKeepTheirOwnOrderAndItemsOfAQueueNeverOverlap)
{
    constexpr int producers = 4;
    constexpr int itemsEach = 3000;
    ThreadedDispatch dispatch(3);
    struct Target {
        Queue queue;
        int running = 0; // unguarded on purpose: ThreadSanitizer sees an overlap
        int total = 0;
        std::vector<int> next = std::vector<int>(producers, 0);
    };
    std::vector<std::unique_ptr<Target>> targets;
    for (int count = 0; count < 3; ++count) {
        targets.push_back(std::make_unique<Target>());
        targets.back()->queue = dispatch.makeSerialQueue("target");
    }
    {
        std::vector<std::jthread> threads;
        for (int producer = 0; producer < producers; ++producer) {
            threads.emplace_back([&targets, producer] {
                for (int item = 0; item < itemsEach; ++item) {
                    for (const auto& target : targets) {
                        target->queue->async([&target = *target, producer, item] {
                            EXPECT_EQ(++target.running, 1);
                            EXPECT_EQ(target.next[static_cast<std::size_t>(producer)]++, item);
                            ++target.total;
                            --target.running;
                        });
                    }
                }
            });
        }
    }
    for (const auto& target : targets) {
        drain(*target->queue);
        EXPECT_EQ(target->total, producers * itemsEach);
    }
}

TEST(DispatchPool, ClientsThatBlockHoldUpTheirOwnQueuesOnly)
{
    // More of them than there are workers; the promise is kept for queues, for the global queue and for devices.
    std::latch release(1);
    std::latch blocked(6);
    std::latch fired(1);
    std::atomic<int> ran = 0;
    ThreadedDispatch dispatch(2);
    std::vector<Queue> queues;
    for (int count = 0; count < 6; ++count) {
        queues.push_back(dispatch.makeSerialQueue("slow"));
        queues.back()->async([&] {
            blocked.count_down();
            release.wait();
        });
        queues.back()->async([&ran] { ++ran; });
    }
    blocked.wait();
    const Queue free = dispatch.makeSerialQueue("free");
    drain(*free);
    drain(*dispatch.globalQueue());
    const auto timer = dispatch.makeTimer([&fired] { fired.count_down(); });
    timer->armAt(std::chrono::nanoseconds(1));
    fired.wait();
    EXPECT_EQ(ran, 0);
    release.count_down();
    for (const Queue& queue : queues)
        drain(*queue);
    EXPECT_EQ(ran, 6);
}

TEST(DispatchPool, WhatAnItemHandsOverRunsThoughThatItemGoesOn)
{
    // As many as workers and more: each waits for what it has just posted.
    std::latch done(5);
    ThreadedDispatch dispatch(2);
    for (int count = 0; count < 5; ++count) {
        dispatch.makeSerialQueue("asks")->async([&dispatch, &done] {
            drain(*dispatch.makeSerialQueue("answers"));
            done.count_down();
        });
    }
    done.wait();
}

TEST(DispatchPool, ItemsOfTheGlobalQueueMayRunAtTheSameTime)
{
    const auto together = std::make_shared<std::latch>(4);
    std::latch met(4);
    ThreadedDispatch dispatch(2);
    for (int count = 0; count < 4; ++count) {
        dispatch.globalQueue()->async([together, &met] {
            together->arrive_and_wait();
            met.count_down();
        });
    }
    met.wait();
}

TEST(DispatchPool, WhatHasNotRunIsDestroyedOnceThePlatformEnds)
{
    auto dispatch = std::make_unique<ThreadedDispatch>(2);
    const Queue queue = dispatch->makeSerialQueue("kept");
    const Queue main = dispatch->mainQueue();
    const Queue global = dispatch->globalQueue();
    std::atomic<int> mainRan = 0;
    auto token = std::make_shared<int>();
    const std::weak_ptr<int> weak = token;
    std::latch begun(1);
    std::latch release(1);
    queue->async([&] {
        begun.count_down();
        release.wait();
    });
    for (int count = 0; count < 500; ++count) {
        queue->async([token, queue, main] { main->async([token] { }); });
        main->async([token, queue, &mainRan] { ++mainRan; });
        global->async([token, queue] { queue->async([token] { }); });
    }
    begun.wait();
    token.reset();
    release.count_down();
    dispatch.reset();
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(mainRan, 0); // its loop never ran

    // A client may still hold queues and post to them.
    for (const Queue& late : {queue, main, global}) {
        auto lateToken = std::make_shared<int>();
        const std::weak_ptr<int> lateWeak = lateToken;
        late->async([lateToken = std::move(lateToken)] { ADD_FAILURE(); });
        EXPECT_TRUE(lateWeak.expired());
    }
}

TEST(DispatchPool, AThreadMayPostWhileItsOwnObjectsAreDestroyed)
{
    static std::atomic<int> ran = 0;
    struct Poster {
        ~Poster()
        {
            for (int count = 0; count < 200; ++count)
                queue->async([] { ++ran; });
        }
        Queue queue;
    };
    ran = 0;
    ThreadedDispatch dispatch(2);
    const Queue queue = dispatch.makeSerialQueue("late");
    std::thread([&queue] {
        // Made before the thread's first post, so destroyed after all that posting needs.
        thread_local Poster poster;
        poster.queue = queue;
        queue->async([] { ++ran; });
    }).join();
    drain(*queue);
    EXPECT_EQ(ran, 201);
}

TEST(DispatchPool, AThousandPlatformsLeaveNothingBehind)
{
    const auto cycle = [] {
        auto dispatch = std::make_unique<ThreadedDispatch>(2);
        std::latch ran(2);
        const Queue queue = dispatch->makeSerialQueue("queue");
        queue->async([&] {
            dispatch->current().scheduleTimer(std::chrono::seconds(1), true, [](platform::Timer&) { });
            ran.count_down();
        });
        const auto timer = dispatch->makeTimer([&ran] { ran.count_down(); });
        timer->armAt(std::chrono::nanoseconds(1));
        dispatch->current().scheduleTimer(std::chrono::seconds(1), true, [queue](platform::Timer&) { });
        dispatch->mainQueue()->async([queue] { });
        ran.wait();
        dispatch.reset(); // before the event source
    };
    cycle();
    const auto descriptors = countOwn("fd");
    const auto threads = countOwn("task");
    for (int count = 0; count < 1000; ++count)
        cycle();
    EXPECT_EQ(countOwn("fd"), descriptors);
    // A joined thread's entry may stand for another moment.
    while (countOwn("task") > threads)
        std::this_thread::yield();
}

TEST(DispatchPoolDeathTest, AnExceptionThatLeavesAnItemEndsTheProcessWithOneLine)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            ThreadedDispatch dispatch(2);
            dispatch.globalQueue()->async([] { throw std::runtime_error("broken"); });
            dispatch.mainLoop().run();
        },
        "^tamsel: an exception left a callback: broken\n$");
}

} // namespace

} // namespace tamsel::tests
