#include <unit/engine/DispatchSupport.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tamsel::tests {

namespace {

using engine::EventSource;
using engine::ThreadedDispatch;
using namespace std::chrono_literals;

std::chrono::nanoseconds now()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

/// Waits for a count that other threads raise.
void waitFor(const std::atomic<int>& count, int least)
{
    for (int seen = count; seen < least; seen = count)
        count.wait(seen);
}

void raise(std::atomic<int>& count)
{
    ++count;
    count.notify_all();
}

TEST(DispatchEventSource, ADescriptorFiresOnceForEachArmingAndNeverTwiceAtATime)
{
    const int descriptor = eventfd(0, EFD_NONBLOCK | EFD_SEMAPHORE);
    const int unread = eventfd(3, EFD_NONBLOCK);
    const auto write
        = [descriptor](std::uint64_t value) { ASSERT_EQ(::write(descriptor, &value, sizeof value), 8); };
    {
        std::atomic<int> fired = 0;
        std::atomic<int> inside = 0;
        std::atomic<int> told = 0;
        std::unique_ptr<EventSource> source;
        ThreadedDispatch dispatch(3); // ends before what its calls use
        source = dispatch.makeDescriptor(descriptor, [&] {
            EXPECT_EQ(++inside, 1);
            source->armReadable(); // another worker waits meanwhile
            if (fired < 10)
                std::this_thread::sleep_for(500us); // and sees that there is still something to read
            std::uint64_t value = 0;
            const bool isRead = ::read(descriptor, &value, sizeof value) == 8;
            --inside;
            if (isRead)
                raise(fired);
        });
        ASSERT_TRUE(source);
        write(1);
        drain(*dispatch.globalQueue());
        EXPECT_EQ(fired, 0); // not armed yet
        source->armReadable();
        waitFor(fired, 1);
        for (int count = 0; count < 200; ++count)
            write(1);
        waitFor(fired, 201);

        // Without a new arming nothing more is told, though there is more to read.
        const auto once = dispatch.makeDescriptor(unread, [&told] { raise(told); });
        ASSERT_TRUE(once);
        once->armReadable();
        waitFor(told, 1);
        drain(*dispatch.globalQueue());
        drain(*dispatch.globalQueue());
        EXPECT_EQ(told, 1);
    }
    ::close(descriptor);
    ::close(unread);
    EXPECT_FALSE(ThreadedDispatch(2).makeDescriptor(-1, [] { })) << "what cannot be waited for";
}

TEST(DispatchEventSource, ATimerFiresAtTheLastTimeThatWasAskedForAndNotBefore)
{
    std::atomic<int> fired = 0;
    std::atomic<int> later = 0;
    std::atomic<std::int64_t> due = 0;
    ThreadedDispatch dispatch(2);
    const auto timer = dispatch.makeTimer([&] {
        EXPECT_GE(now().count(), due);
        raise(fired);
    });
    for (int round = 1; round <= 20; ++round) {
        due = (now() + 2ms).count();
        timer->armAt(now() + 1h);
        timer->armAt(std::chrono::nanoseconds(due));
        waitFor(fired, round);
    }
    timer->armAt(now() + 1ms);
    timer->cancel();
    const auto second = dispatch.makeTimer([&later] { raise(later); });
    second->armAt(now() + 5ms);
    waitFor(later, 1);
    EXPECT_EQ(fired, 20);
}

TEST(DispatchEventSource, MayBeDestroyedInsideItsOwnCallAndWhileAnotherThreadArmsIt)
{
    std::atomic<int> fired = 0;
    ThreadedDispatch dispatch(3);
    for (int round = 0; round < 200; ++round) {
        const auto done = std::make_shared<std::latch>(1);
        auto token = std::make_shared<int>();
        const std::weak_ptr<int> weak = token;
        auto holder = std::make_shared<std::unique_ptr<EventSource>>();
        *holder = dispatch.makeTimer([done, token = std::move(token), holder] {
            const std::weak_ptr<int> inside = token;
            holder->reset();
            EXPECT_FALSE(inside.expired());
            done->count_down();
        });
        (*holder)->armAt(1ns);
        done->wait();
    }
    for (int round = 0; round < 200; ++round) {
        auto source = dispatch.makeTimer([&fired] { raise(fired); });
        source->armAt(1ns);
        std::thread([&source] { source->armAt(1ns); }).join();
        if (round % 2 == 0)
            waitFor(
                fired, round / 2); // so that some are destroyed before, some while and some after they fire
    }
}

TEST(DispatchEventSource, IsReadWhileAClientBlocksAndWhileQueuesFlood)
{
    std::latch release(1);
    std::atomic<int> fired = 0;
    std::atomic<int> delivered = 0;
    std::unique_ptr<EventSource> device;
    std::atomic<bool> isStopped = false;
    std::atomic<int> ended = 0;
    struct Flood {
        std::shared_ptr<platform::DispatchQueue> queue;
        std::atomic<bool>& isStopped;
        std::atomic<int>& ended;
        void next()
        {
            queue->async([this] { isStopped ? raise(ended) : next(); });
        }
    };
    std::vector<Flood> floods;
    ThreadedDispatch dispatch(2); // ends before what its calls use
    const auto slow = dispatch.makeSerialQueue("slow client");
    const auto quick = dispatch.makeSerialQueue("quick client");
    slow->async([&release] { release.wait(); });
    device = dispatch.makeTimer([&] {
        device->armAt(now() + 200us);
        raise(fired);
        slow->async([&delivered] { ++delivered; });
        quick->async([&delivered] { raise(delivered); });
    });
    device->armAt(now());
    waitFor(fired, 20);
    waitFor(delivered, 20);

    // Two queues that never rest for each worker.
    for (int count = 0; count < 4; ++count)
        floods.push_back({dispatch.makeSerialQueue("flood"), isStopped, ended});
    for (Flood& flood : floods)
        flood.next();
    waitFor(fired, fired + 20);
    isStopped = true;
    waitFor(ended, 4);
    device->cancel();
    release.count_down();
}

TEST(DispatchEventSource, DoesNothingOnceThePlatformHasEnded)
{
    std::unique_ptr<EventSource> source;
    std::atomic<int> fired = 0;
    {
        ThreadedDispatch dispatch(2);
        source = dispatch.makeTimer([&fired] { raise(fired); });
        source->armAt(1ns);
        waitFor(fired, 1);
    }
    source->armAt(1ns);
    source->cancel();
    source.reset();
    EXPECT_EQ(fired, 1);
}

} // namespace

} // namespace tamsel::tests
