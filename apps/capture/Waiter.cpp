#include "Waiter.h"

#include <tamsel/platform/Clock.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/RunLoops.h>

#include <atomic>
#include <memory>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

void Waiter::wake()
{
    environment_.platform().dispatch.mainQueue()->async([] { });
}

bool Waiter::waitFor(nanoseconds limit, const std::function<bool()>& condition)
{
    const platform::Clock& clock = environment_.platform().clock;
    const nanoseconds end = clock.monotonic() + limit;
    const std::shared_ptr<platform::Timer> tick
        = environment_.platform().runLoops.current().scheduleTimer(20ms, true, [](platform::Timer&) { });
    environment_.runUntil([&] { return condition() || isPending_ || clock.monotonic() > end; },
        [this] { isPending_ = wasInterrupted_ = true; });
    tick->invalidate();
    return condition();
}

bool Waiter::waitUninterrupted(nanoseconds limit, const std::function<bool()>& condition)
{
    const platform::Clock& clock = environment_.platform().clock;
    const nanoseconds end = clock.monotonic() + limit;
    for (nanoseconds left = limit; left > 0ns; left = end - clock.monotonic()) {
        clearInterrupt();
        if (waitFor(left, condition))
            return true;
    }
    return condition();
}

void Waiter::runBehind(platform::DispatchQueue& queue, std::function<void()> block)
{
    const auto hasRun = std::make_shared<std::atomic<bool>>(false);
    queue.async([hasRun, block = std::move(block), mainQueue = environment_.platform().dispatch.mainQueue()] {
        block();
        *hasRun = true;
        mainQueue->async([] { }); // wakes the main loop
    });
    (void)waitUninterrupted(1min, [&hasRun] { return hasRun->load(); });
}

} // namespace tamsel::capture
