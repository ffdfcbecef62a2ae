#include <unit/engine/DispatchSupport.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
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

TEST(DispatchEventSource, ADescriptorFiresOnceForEachArmingAndNeverTwiceAtATime)
{
    const int descriptor = eventfd(0, EFD_NONBLOCK | EFD_SEMAPHORE);
    const int unread = eventfd(3, EFD_NONBLOCK);
    const auto write
        = [descriptor](std::uint64_t value) { ASSERT_EQ(::write(descriptor, &value, sizeof value), 8); };
    {
        Counter fired;
        std::atomic<int> inside = 0;
        Counter told;
        std::unique_ptr<EventSource> source;
        ThreadedDispatch dispatch(3); // ends before what its calls use
        source = dispatch.makeDescriptor(descriptor, [&] {
            EXPECT_EQ(++inside, 1);
            source->armReadable(); // another worker waits meanwhile
            if (fired < 10) // and, done with this, sees that there is still something to read
                drain(*dispatch.globalQueue());
            std::uint64_t value = 0;
            const bool isRead = ::read(descriptor, &value, sizeof value) == 8;
            --inside;
            if (isRead)
                fired.raise();
        });
        ASSERT_TRUE(source);
        write(1);
        drain(*dispatch.globalQueue());
        EXPECT_EQ(fired, 0); // not armed yet
        source->armReadable();
        fired.waitFor(1);
        for (int count = 0; count < 200; ++count)
            write(1);
        fired.waitFor(201);

        // Without a new arming nothing more is told, though there is more to read.
        const auto once = dispatch.makeDescriptor(unread, [&told] { told.raise(); });
        ASSERT_TRUE(once);
        once->armReadable();
        told.waitFor(1);
        drain(*dispatch.globalQueue());
        drain(*dispatch.globalQueue());
        EXPECT_EQ(told, 1);
    }
    ::close(descriptor);
    ::close(unread);
    EXPECT_FALSE(ThreadedDispatch(2).makeDescriptor(-1, [] { })) << "what cannot be waited for";
}

TEST(DispatchEventSource, MayBeDestroyedInsideItsOwnCallAndWhileAnotherThreadArmsIt)
{
    Counter fired;
    ThreadedDispatch dispatch(3);
    for (int round = 0; round < 200; ++round) {
        const auto done = std::make_shared<Counter>();
        auto token = std::make_shared<int>();
        const std::weak_ptr<int> weak = token;
        auto holder = std::make_shared<std::unique_ptr<EventSource>>();
        *holder = dispatch.makeTimer([done, token = std::move(token), holder] {
            const std::weak_ptr<int> inside = token;
            holder->reset();
            EXPECT_FALSE(inside.expired());
            done->raise();
        });
        (*holder)->armAt(1ns);
        done->waitFor(1);
    }
    for (int round = 0; round < 200; ++round) {
        auto source = dispatch.makeTimer([&fired] { fired.raise(); });
        source->armAt(1ns);
        std::thread([&source] { source->armAt(1ns); }).join();
        if (round % 2 == 0)
            fired.waitFor(
                round / 2); // so that some are destroyed before, some while and some after they fire
    }
}

TEST(DispatchEventSource, IsReadWhileQueuesFlood)
{
    Counter fired;
    Counter ended;
    std::atomic<bool> isStopped = false;
    std::unique_ptr<EventSource> device;
    const std::function<void(const std::shared_ptr<platform::DispatchQueue>&)> flood
        = [&](const auto& queue) { queue->async([&, queue] { isStopped ? ended.raise() : flood(queue); }); };
    ThreadedDispatch dispatch(2); // ends before what its calls use
    device = dispatch.makeTimer([&] {
        device->armAt(now() + 200us);
        fired.raise();
    });
    device->armAt(now());
    for (int count = 0; count < 4; ++count) // two that never rest for each worker
        flood(dispatch.makeSerialQueue("flood"));
    fired.waitFor(fired + 20);
    isStopped = true;
    ended.waitFor(4);
    device->cancel();
}

} // namespace

} // namespace tamsel::tests
