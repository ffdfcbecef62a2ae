#include <engine/dispatch/ThreadedDispatch.h>
#include <simulated/RandomChooser.h>
#include <simulated/Scheduler.h>
#include <unit/engine/DispatchSupport.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tamsel::tests {

namespace {

/// Queues, the main loop and time of the simulated phone. `blockUntil` blocks the item for a second of virtual time.
template <std::uint64_t Seed> struct SimulatedHarness {
    platform::Dispatch& dispatch() { return scheduler; }
    platform::RunLoops& runLoops() { return scheduler; }

    void runUntil(const std::function<bool()>& done)
    {
        for (int steps = 0; !done(); ++steps) {
            ASSERT_LT(steps, 10'000'000);
            ASSERT_TRUE(scheduler.step() || scheduler.advanceToNext(std::chrono::nanoseconds::max()));
            scheduler.pass(std::chrono::microseconds(1)); // queues that never rest would hold the time up
        }
    }
    void blockUntil(const std::function<bool()>&) { scheduler.spend(std::chrono::seconds(1)); }

    simulated::Scheduler scheduler{std::make_shared<simulated::RandomChooser>(Seed), 0};
};

/// Those of the host.
struct ThreadedHarness {
    platform::Dispatch& dispatch() { return threaded; }
    platform::RunLoops& runLoops() { return threaded; }

    void runUntil(const std::function<bool()>& done) { tests::runUntil(threaded.mainLoop(), done); }
    void blockUntil(const std::function<bool()>& done)
    {
        const auto end = std::chrono::steady_clock::now() + patience;
        while (!done()) {
            if (std::chrono::steady_clock::now() > end)
                giveUp();
            std::this_thread::yield();
        }
    }

    engine::ThreadedDispatch threaded;
};

using Harnesses
    = testing::Types<SimulatedHarness<1>, SimulatedHarness<2>, SimulatedHarness<3>, ThreadedHarness>;

/// What every `platform::Dispatch` and `platform::RunLoops` must keep. The tests hold queues and journals that outlive what
/// they post, because `runUntil` ends with the last item.
template <typename Harness> class DispatchContract : public testing::Test {
protected:
    using Queue = std::shared_ptr<platform::DispatchQueue>;

    platform::Dispatch& dispatch() { return harness_.dispatch(); }
    platform::RunLoop& mainLoop() { return harness_.runLoops().current(); }
    Queue makeQueue(std::string label = "queue") { return dispatch().makeSerialQueue(std::move(label)); }

    void runUntil(std::function<bool()> done) { harness_.runUntil(std::move(done)); }

    /// Runs until all that is now in `queue` has run.
    void drain(platform::DispatchQueue& queue)
    {
        std::atomic<bool> isDrained = false;
        queue.async([&isDrained] { isDrained = true; });
        runUntil([&isDrained] { return isDrained.load(); });
    }

    /// Posts and knows, on its thread, that it does.
    static void post(platform::DispatchQueue& queue, platform::WorkItem item)
    {
        isPosting = true;
        queue.async(std::move(item));
        isPosting = false;
    }

    inline static thread_local bool isPosting = false;

    Harness harness_;
};

} // namespace

TYPED_TEST_SUITE(DispatchContract, Harnesses);

TYPED_TEST(DispatchContract, ASerialQueueRunsItsItemsInOrderAndOneAtATime)
{
    const auto queue = this->makeQueue();
    const auto source = this->makeQueue();
    std::vector<int> order;
    std::atomic<int> running = 0;
    std::vector<int> expected;
    for (int value = 0; value < 500; ++value) {
        expected.push_back(value);
        // Alternately from here and from another queue, so that the queue is found idle as well as busy.
        auto item = [&order, &running, value] {
            EXPECT_EQ(++running, 1);
            order.push_back(value);
            --running;
        };
        if (value % 50 == 0)
            this->drain(*source);
        if (value % 100 < 50)
            queue->async(item);
        else
            source->async([queue, item] { queue->async(item); });
    }
    this->drain(*source);
    this->drain(*queue);
    EXPECT_EQ(order, expected);
}

TYPED_TEST(DispatchContract, ALongChainOfQueuesKeepsTheOrderAndLosesNothing)
{
    std::vector<typename TestFixture::Queue> queues;
    for (int count = 0; count < 60; ++count)
        queues.push_back(this->makeQueue());
    std::vector<int> arrived;
    std::atomic<int> count = 0;
    const std::function<void(std::size_t, int)> pass = [&](std::size_t place, int value) {
        const auto add
            = value % 2 == 0 ? &platform::DispatchQueue::async : &platform::DispatchQueue::handOver;
        (*queues[place].*add)([&, place, value] {
            if (place + 1 < queues.size()) {
                pass(place + 1, value);
            } else {
                arrived.push_back(value);
                ++count;
            }
        });
    };
    for (int value = 0; value < 200; ++value)
        pass(0, value);
    this->runUntil([&count] { return count == 200; });
    for (const auto& queue : queues)
        this->drain(*queue); // its last item has returned
    EXPECT_TRUE(std::ranges::is_sorted(arrived));
}

TYPED_TEST(DispatchContract, AnItemNeverRunsInsideTheCallThatPostedIt)
{
    const std::vector<typename TestFixture::Queue> all{
        this->makeQueue(), this->makeQueue(), this->dispatch().mainQueue(), this->dispatch().globalQueue()};
    std::atomic<int> ran = 0;
    const auto leaf = [&ran] {
        EXPECT_FALSE(TestFixture::isPosting);
        ++ran;
    };
    for (const auto& from : all) {
        TestFixture::post(*from, [&all, leaf] {
            leaf();
            for (const auto& target : all)
                TestFixture::post(*target, leaf);
        });
    }
    this->runUntil([&ran] { return ran == 4 + 16; });
}

TYPED_TEST(DispatchContract, OnlyTheQueueWhoseItemRunsIsCurrent)
{
    const auto queue = this->makeQueue("of its own");
    const auto other = this->makeQueue();
    const auto main = this->dispatch().mainQueue();
    const auto global = this->dispatch().globalQueue();
    EXPECT_EQ(queue->label(), "of its own");
    std::atomic<int> ran = 0;
    for (const auto& running : {queue, main, global}) {
        running->async([&, running] {
            for (const auto& asked : {queue, other, main, global})
                EXPECT_EQ(asked->isCurrent(), asked == running)
                    << asked->label() << " in " << running->label();
            ++ran;
        });
        EXPECT_FALSE(running->isCurrent());
    }
    this->runUntil([&ran] { return ran == 3; });
    EXPECT_FALSE(main->isCurrent());
}

TYPED_TEST(DispatchContract, TheMainQueueRunsOnTheMainThreadInOrder)
{
    EXPECT_TRUE(this->dispatch().isMainThread());
    const auto main = this->dispatch().mainQueue();
    const auto queue = this->makeQueue();
    std::vector<int> order;
    std::atomic<bool> isDone = false;
    queue->async([&] {
        EXPECT_FALSE(this->dispatch().isMainThread());
        for (int value = 0; value < 200; ++value) {
            main->async([&, value] {
                EXPECT_TRUE(this->dispatch().isMainThread());
                order.push_back(value);
                if (value == 199)
                    main->async([&isDone] { isDone = true; });
            });
        }
    });
    this->runUntil([&isDone] { return isDone.load(); });
    EXPECT_EQ(order.size(), 200U);
    EXPECT_TRUE(std::ranges::is_sorted(order));
}

TYPED_TEST(DispatchContract, PostedItemsRunThoughNobodyHoldsTheQueue)
{
    std::atomic<int> ran = 0;
    auto queue = this->makeQueue();
    const std::weak_ptr<platform::DispatchQueue> weak = queue;
    for (int count = 0; count < 100; ++count)
        queue->async([&ran] { ++ran; });
    // The last reference drops inside an item of the queue, after it has posted once more.
    queue->async([&ran, last = std::move(queue)]() mutable {
        last->async([&ran] { ++ran; });
        last.reset();
        ++ran;
    });
    this->runUntil([&] { return ran == 102 && weak.expired(); });

    // And while other queues have still to post to it.
    auto target = this->makeQueue();
    const std::weak_ptr<platform::DispatchQueue> weakTarget = target;
    this->makeQueue()->async([&ran, target = std::move(target)] { target->async([&ran] { ++ran; }); });
    this->runUntil([&] { return ran == 103 && weakTarget.expired(); });
}

TYPED_TEST(DispatchContract, AnItemIsDestroyedBeforeTheNextOneRuns)
{
    for (const auto& queue : {this->makeQueue(), this->dispatch().mainQueue()}) {
        auto token = std::make_shared<int>();
        const std::weak_ptr<int> weak = token;
        queue->async([token = std::move(token)] { });
        queue->async([weak] { EXPECT_TRUE(weak.expired()); });
        this->drain(*queue);
    }
}

TYPED_TEST(DispatchContract, WhatACapturePostsAsItIsDestroyedRunsAsWell)
{
    struct Poster {
        ~Poster()
        {
            target->async([ran = ran] { ++*ran; });
        }
        typename TestFixture::Queue target;
        std::atomic<int>* ran;
    };
    std::atomic<int> ran = 0;
    const auto queue = this->makeQueue();
    for (const auto& target :
        {queue, this->makeQueue(), this->dispatch().mainQueue(), this->dispatch().globalQueue()}) {
        auto poster = std::make_shared<Poster>();
        poster->target = target;
        poster->ran = &ran;
        queue->async([poster = std::move(poster)] { });
    }
    this->runUntil([&ran] { return ran == 4; });
}

TYPED_TEST(DispatchContract, AnItemThatBlocksDelaysOnlyItsOwnQueue)
{
    for (const bool isBehindAHandOver : {false, true}) {
        const auto client = this->makeQueue();
        const auto other = this->makeQueue();
        std::atomic<bool> otherRan = false;
        std::atomic<bool> nextRan = false;
        // From an item, so that all of them are in the queue before the first one runs.
        client->async([&] {
            if (isBehindAHandOver)
                client->async([&] { other->handOver([&otherRan] { otherRan = true; }); });
            client->async([&] {
                if (!isBehindAHandOver)
                    other->async([&otherRan] { otherRan = true; });
                this->harness_.blockUntil([&otherRan] { return otherRan.load(); });
                EXPECT_TRUE(otherRan);
                EXPECT_FALSE(nextRan);
            });
            client->async([&nextRan] { nextRan = true; });
        });
        this->runUntil([&nextRan] { return nextRan.load(); });
    }
}

TYPED_TEST(DispatchContract, QueuesThatNeverRestStarveNobody)
{
    std::atomic<bool> isStopped = false;
    std::atomic<int> stillRunning = 8;
    using Fed = typename TestFixture::Queue;
    std::function<void(Fed, Fed)> feed;
    feed = [&](Fed queue, Fed next) {
        if (isStopped)
            --stillRunning;
        else
            queue->handOver([&feed, queue, next] { feed(next, queue); });
    };
    // Some feed themselves, and more pairs than there are workers feed each other.
    for (const auto& queue :
        {this->makeQueue(), this->dispatch().mainQueue(), this->dispatch().globalQueue()})
        feed(queue, queue);
    for (int count = 0; count < 5; ++count)
        feed(this->makeQueue(), this->makeQueue());
    this->drain(*this->makeQueue());
    this->drain(*this->dispatch().globalQueue());
    std::atomic<bool> hasFired = false;
    const auto timer = this->mainLoop().scheduleTimer(
        std::chrono::milliseconds(1), false, [&hasFired](platform::Timer&) { hasFired = true; });
    this->runUntil([&hasFired] { return hasFired.load(); });
    this->drain(*this->dispatch().mainQueue());
    isStopped = true;
    this->runUntil([&stillRunning] { return stillRunning == 0; });
}

TYPED_TEST(DispatchContract, TimersFireInTheOrderOfTheirTimesAndOnlyWhileTheLoopRuns)
{
    using namespace std::chrono_literals;
    platform::RunLoop& loop = this->mainLoop();
    EXPECT_EQ(&this->mainLoop(), &loop);
    std::vector<std::string> fired;
    const auto write = [&](const char* name) {
        return [&, name](platform::Timer&) {
            EXPECT_TRUE(this->dispatch().isMainThread());
            fired.emplace_back(name);
        };
    };
    const auto late = loop.scheduleTimer(150ms, false, write("late"));
    const auto early = loop.scheduleTimer(20ms, false, write("early"));
    const auto ended = loop.scheduleTimer(30ms, false, write("ended"));
    int ticks = 0;
    const auto repeating = loop.scheduleTimer(100ms, true, [&](platform::Timer& timer) {
        fired.emplace_back("tick");
        if (++ticks == 3)
            timer.invalidate();
    });
    ended->invalidate();
    this->drain(*this->makeQueue());
    const auto isThere = [&fired](const char* name) { return std::ranges::find(fired, name) != fired.end(); };
    this->runUntil([&] { return isThere("late") && ticks == 3; });
    // A late loop may skip ticks, but the order of what it fires stands.
    EXPECT_EQ(fired, (std::vector<std::string>{"early", "tick", "late", "tick", "tick"}));
    EXPECT_FALSE(early->isValid() || late->isValid() || ended->isValid() || repeating->isValid());
}

TYPED_TEST(DispatchContract, ATimerKeepsItsBlockWhileItRunsAndNoLongerThanItIsValid)
{
    using namespace std::chrono_literals;
    platform::RunLoop& loop = this->mainLoop();
    const auto schedule = [&loop](bool repeats, std::function<void(platform::Timer&)> body) {
        auto token = std::make_shared<int>();
        const std::weak_ptr<int> weak = token;
        auto timer
            = loop.scheduleTimer(1ms, repeats, [token = std::move(token), body](platform::Timer& self) {
                  const std::weak_ptr<int> inside = token;
                  body(self);
                  EXPECT_FALSE(inside.expired());
              });
        return std::pair{timer, weak};
    };
    int fired = 0;
    const auto ended = schedule(true, [&fired](platform::Timer&) { ++fired; });
    ended.first->invalidate();
    EXPECT_TRUE(ended.second.expired());

    const auto once = schedule(false, [&fired](platform::Timer&) { ++fired; });
    const auto endsItself = schedule(true, [&fired](platform::Timer& self) {
        ++fired;
        self.invalidate();
    });
    // A loop holds its timers: nobody else holds this one.
    std::weak_ptr<int> unheld = schedule(false, [&fired](platform::Timer&) { ++fired; }).second;
    this->runUntil([&fired] { return fired == 3; });
    this->drain(*this->dispatch().mainQueue());
    EXPECT_TRUE(once.second.expired());
    EXPECT_TRUE(endsItself.second.expired());
    EXPECT_TRUE(unheld.expired());
}

TYPED_TEST(DispatchContract, ATimersBlockMayMakeAndEndTimers)
{
    using namespace std::chrono_literals;
    platform::RunLoop& loop = this->mainLoop();
    std::vector<std::string> fired;
    std::shared_ptr<platform::Timer> victim;
    const auto killer = loop.scheduleTimer(5ms, false, [&](platform::Timer&) {
        fired.emplace_back("killer");
        victim->invalidate();
        loop.scheduleTimer(1ms, false, [&](platform::Timer&) { fired.emplace_back("made"); });
    });
    victim = loop.scheduleTimer(6ms, true, [&](platform::Timer&) { fired.emplace_back("victim"); });
    this->runUntil([&] { return fired.size() >= 2; });
    EXPECT_EQ(fired, (std::vector<std::string>{"killer", "made"}));
}

} // namespace tamsel::tests
