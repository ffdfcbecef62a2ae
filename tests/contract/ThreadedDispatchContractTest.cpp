#include <contract/DispatchContract.h>
#include <unit/engine/DispatchSupport.h>

namespace tamsel::tests {

namespace {

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

} // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Threaded, DispatchContract, ThreadedHarness);

} // namespace tamsel::tests
