#pragma once

#include <simulated/Phone.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::simulated {

/// What `explore` tries. Times but `timeLimit` are virtual ones.
struct ExploreOptions {
    /// Each run has a new phone like this. Seed, chooser and replay are not used. The replaced services in it are shared
    /// by all runs.
    PhoneConfiguration phone = {};
    /// At most, without those that reduce a failure.
    std::size_t runs = 1000;
    /// All orders are tried in which at most so many events are delayed, as far as the runs suffice. A wait counts as one
    /// delay, and running the third oldest event first as two.
    std::size_t maximumDelays = 1;
    /// Threads may be late: time may pass although events are ready, but none runs later than this after its time. When
    /// `Phone::run`, `advance` or `runUntil` return, none is left.
    std::chrono::nanoseconds lateBy{};
    /// Orders are tried between these times. Before and after, the oldest event goes first, and none is late. So a
    /// promise that must hold in the end can be checked some time later.
    std::chrono::nanoseconds choicesFrom{};
    std::chrono::nanoseconds choicesUntil = std::chrono::nanoseconds::max();
    /// A scenario that runs longer, or does 100,000 things while no time passes, has failed.
    std::chrono::nanoseconds restBy = std::chrono::minutes(10);
    /// Threads that run scenarios, each with a phone of its own; 0: one for each processor. With more than one the
    /// scenario is called from several threads at once.
    unsigned threads = 1;
    /// Of the wall clock; also reduces the number of runs.
    std::chrono::nanoseconds timeLimit = std::chrono::nanoseconds::max();
};

/// An order of events in which a scenario fails.
struct ExploreFailure {
    /// The text of the scenario, or of its exception.
    std::string reason;
    /// What differs from the default order, one line for each choice.
    std::vector<std::string> order;
    /// For `PhoneConfiguration::replay`.
    std::string replay;
    /// The strategy that found it, and in which of its runs, from 1 on.
    std::string strategy;
    std::size_t run = 0;
};

/// The result of `explore`.
struct ExploreResult {
    std::optional<ExploreFailure> failure;
    /// All, but those that reduced the failure.
    std::size_t runs = 0;
    /// True when all orders with at most `maximumDelays` delays were tried.
    bool isComplete = false;
    /// What each strategy has tried, one line each.
    std::vector<std::string> tried;
};

/// At most twelve lines.
std::ostream& operator<<(std::ostream& stream, const ExploreResult& result);

/// Runs one scenario on a new phone; a text is a failure. It must do the same for the same order of events, must not
/// keep the phone, and must release its managers.
using Scenario = std::function<std::optional<std::string>(Phone&)>;

/// Runs a scenario in many orders of its events until it fails: in the default order, in random orders, in all orders
/// with few delays, and with random priorities. The order that fails is reduced to what matters. The same options and
/// scenario give the same result, except for `timeLimit`.
[[nodiscard]] ExploreResult explore(const ExploreOptions& options, const Scenario& scenario);

} // namespace tamsel::simulated
