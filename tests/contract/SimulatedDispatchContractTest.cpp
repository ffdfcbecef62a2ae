#include <contract/DispatchContract.h>

#include <simulated/RandomChooser.h>
#include <simulated/Scheduler.h>

namespace tamsel::tests {

namespace {

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

using Seeds = testing::Types<SimulatedHarness<1>, SimulatedHarness<2>, SimulatedHarness<3>>;

} // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Simulated, DispatchContract, Seeds);

} // namespace tamsel::tests
