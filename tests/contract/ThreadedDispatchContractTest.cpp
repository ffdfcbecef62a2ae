#include <contract/DispatchContract.h>

#include <engine/dispatch/ThreadRunLoop.h>
#include <engine/dispatch/ThreadedDispatch.h>

namespace tamsel::tests {

namespace {

struct ThreadedHarness {
    platform::Dispatch& dispatch() { return threaded; }
    platform::RunLoops& runLoops() { return threaded; }

    void runUntil(const std::function<bool()>& done)
    {
        while (!done())
            threaded.mainLoop().runOnce(std::chrono::milliseconds(1));
    }

    engine::ThreadedDispatch threaded;
};

} // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Threaded, DispatchContract, ThreadedHarness);

} // namespace tamsel::tests
