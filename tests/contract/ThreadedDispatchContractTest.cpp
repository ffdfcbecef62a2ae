#include <contract/DispatchContract.h>
#include <unit/engine/DispatchSupport.h>

namespace tamsel::tests {

namespace {

struct ThreadedHarness {
    platform::Dispatch& dispatch() { return threaded; }
    platform::RunLoops& runLoops() { return threaded; }

    void runUntil(const std::function<bool()>& done) { tests::runUntil(threaded.mainLoop(), done); }

    engine::ThreadedDispatch threaded;
};

} // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Threaded, DispatchContract, ThreadedHarness);

} // namespace tamsel::tests
