#include "support/Memory.h"

#include <unit/engine/DispatchSupport.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
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
    Counter released;
    Counter blocked;
    Counter fired;
    std::atomic<int> ran = 0;
    ThreadedDispatch dispatch(2);
    std::vector<Queue> queues;
    for (int count = 0; count < 6; ++count) {
        queues.push_back(dispatch.makeSerialQueue("slow"));
        queues.back()->async([&] {
            blocked.raise();
            released.waitFor(1);
        });
        queues.back()->async([&ran] { ++ran; });
    }
    blocked.waitFor(6);
    const Queue free = dispatch.makeSerialQueue("free");
    drain(*free);
    drain(*dispatch.globalQueue());
    const auto timer = dispatch.makeTimer([&fired] { fired.raise(); });
    timer->armAt(std::chrono::nanoseconds(1));
    fired.waitFor(1);
    EXPECT_EQ(ran, 0);
    released.raise();
    for (const Queue& queue : queues)
        drain(*queue);
    EXPECT_EQ(ran, 6);
}

TEST(DispatchPool, WhatAnItemHandsOverRunsNextOnItsThread)
{
    ThreadedDispatch dispatch(4);
    const Queue first = dispatch.makeSerialQueue("first");
    for (int count = 0; count < 100; ++count) {
        const Queue second = dispatch.makeSerialQueue("second"); // a new one is idle
        std::thread::id thread;
        Counter done;
        first->async([&] {
            thread = std::this_thread::get_id();
            second->handOver([&] {
                EXPECT_EQ(std::this_thread::get_id(), thread);
                done.raise();
            });
        });
        done.waitFor(1);
    }
}

TEST(DispatchPool, ItemsOfTheGlobalQueueMayRunAtTheSameTime)
{
    Counter arrived;
    Counter met;
    ThreadedDispatch dispatch(2);
    for (int count = 0; count < 4; ++count) {
        dispatch.globalQueue()->async([&arrived, &met] {
            arrived.raise();
            arrived.waitFor(4);
            met.raise();
        });
    }
    met.waitFor(4);
}

TEST(DispatchPool, WhatHasNotRunIsDestroyedOnceThePlatformEnds)
{
    ThreadedDispatch dispatch(2);
    const Queue queue = dispatch.makeSerialQueue("kept");
    const Queue main = dispatch.mainQueue();
    const Queue global = dispatch.globalQueue();
    std::atomic<int> mainRan = 0;
    auto token = std::make_shared<int>();
    const std::weak_ptr<int> weak = token;
    Counter begun;
    Counter released;
    queue->async([&] {
        begun.raise();
        released.waitFor(1);
    });
    for (int count = 0; count < 500; ++count) {
        queue->async([token, queue, main] { main->async([token] { }); });
        main->async([token, queue, &mainRan] { ++mainRan; });
        global->async([token, queue] { queue->async([token] { }); });
    }
    begun.waitFor(1);
    token.reset();
    released.raise();
    dispatch.end();
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(mainRan, 0); // its loop never ran

    // Clients and drivers may still make queues and timers, hold them and use them.
    const auto timer = dispatch.makeTimer([] { ADD_FAILURE(); });
    timer->armAt(std::chrono::nanoseconds(1));
    dispatch.current().scheduleTimer(std::chrono::seconds(1), true, [main](platform::Timer&) { });
    for (const Queue& late : {queue, main, global, dispatch.makeSerialQueue("late")}) {
        auto lateToken = std::make_shared<int>();
        const std::weak_ptr<int> lateWeak = lateToken;
        late->async([lateToken = std::move(lateToken)] { ADD_FAILURE(); });
        EXPECT_TRUE(lateWeak.expired());
    }
}

TEST(DispatchPool, NeedsNoMoreMemoryHoweverLongItRuns)
{
    if (keepsFreedMemory)
        GTEST_SKIP() << "a sanitizer keeps freed memory";
    ThreadedDispatch dispatch(2);
    const Queue there = dispatch.makeSerialQueue("there");
    const Queue back = dispatch.makeSerialQueue("back");
    // Threads that post come and go, others run what they posted, and post themselves.
    const auto post = [&](int rounds) {
        for (int round = 0; round < rounds; ++round) {
            std::jthread([&] {
                for (int item = 0; item < 200; ++item)
                    there->async([&back] { back->async([] { }); });
            }).join();
            drain(*there);
            drain(*back);
        }
    };
    post(200);
    const std::size_t before = residentKilobytes();
    post(2000); // 100 MB, were no item's memory used again
    EXPECT_LT(residentKilobytes(), before + 5 * 1024);
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
        Counter ran;
        const Queue queue = dispatch->makeSerialQueue("queue");
        queue->async([&] {
            dispatch->current().scheduleTimer(std::chrono::seconds(1), true, [](platform::Timer&) { });
            ran.raise();
        });
        const auto timer = dispatch->makeTimer([&ran] { ran.raise(); });
        timer->armAt(std::chrono::nanoseconds(1));
        dispatch->current().scheduleTimer(std::chrono::seconds(1), true, [queue](platform::Timer&) { });
        dispatch->mainQueue()->async([queue] { });
        ran.waitFor(2);
        dispatch.reset(); // before the event source
    };
    cycle();
    const auto descriptors = countOwn("fd");
    const auto threads = countOwn("task");
    for (int count = 0; count < 1000; ++count)
        cycle();
    EXPECT_EQ(countOwn("fd"), descriptors);
    // A joined thread's entry may stand for another moment.
    for (const auto end = std::chrono::steady_clock::now() + patience;
        countOwn("task") > threads && std::chrono::steady_clock::now() < end;)
        std::this_thread::yield();
    EXPECT_EQ(countOwn("task"), threads);
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
