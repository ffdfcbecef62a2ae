#pragma once

#include <simulated/Order.h>
#include <simulated/explore.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace tamsel::simulated {

/// One exploration of a scenario: strategies, one after the other, until one finds a failure.
class Explorer {
public:
    Explorer(const ExploreOptions& options, const Scenario& scenario);

    [[nodiscard]] ExploreResult explore();

private:
    using Clock = std::chrono::steady_clock;

    struct Run {
        std::vector<Decision> decisions;
        std::size_t steps;
        std::optional<std::string> failure;
    };
    struct Failed {
        std::size_t number;
        std::vector<Decision> decisions;
    };
    /// The orders of one cost. When there are more than can be tried, a random sample of them.
    struct Level {
        std::vector<Script> scripts;
        std::size_t known = 0;
        std::mt19937_64 random = {};
    };
    struct Tried {
        std::size_t orders;
        std::size_t known;
        bool isComplete;
    };
    /// Of a choice, when so many events were ready.
    using Cost = std::size_t (*)(std::size_t choice, std::size_t ready);
    using MakeChooser = std::function<std::unique_ptr<Chooser>(std::size_t number)>;
    using Done = std::function<void(std::size_t number, const Run& run)>;

    [[nodiscard]] Run run(std::unique_ptr<Chooser> chooser);
    [[nodiscard]] std::optional<std::string> call(std::shared_ptr<Chooser> chooser) const;
    /// Runs the numbers from 0 on, on all threads, until one fails or the time is over; the number of runs.
    std::size_t batch(std::string strategy, std::size_t count, double share, const MakeChooser& make,
        const Done& done = nullptr);
    void tryDefaultOrder();
    void trySeeds(std::size_t count);
    void tryDelays(std::size_t count);
    void tryPriorities(std::size_t count);
    /// Tries the orders of a cost up to the maximum, the cheaper ones first, until one fails.
    [[nodiscard]] Tried search(Cost costOf, std::size_t maximum, std::size_t count, double share);
    /// Adds all orders that differ from this one by one later choice.
    static void extend(std::vector<Level>& levels, Cost costOf, std::size_t cost, const Script& script,
        const std::vector<Decision>& decisions, std::size_t limit);

    [[nodiscard]] ExploreFailure describeFailure();
    [[nodiscard]] Script reduce(Script script);
    /// An order of fewer choices, when a short search finds one.
    void searchSimpler(Script& script);
    /// Replaces the script by a smaller one if that fails, too.
    bool replaceIfFailing(Script& script, const Script& smaller);

    const ExploreOptions& options_;
    const Scenario& scenario_;
    const ChoiceRules rules_;
    const Clock::time_point start_ = Clock::now();
    ExploreResult result_;
    std::string strategy_;
    std::vector<Decision> defaultOrder_;
    std::optional<Failed> failed_;
    std::size_t reductions_ = 0;

    // Over all runs, which may be on several threads.
    std::mutex guard_;
    std::size_t maximumSteps_ = 0;
    std::size_t maximumChains_ = 0;
};

} // namespace tamsel::simulated
