#pragma once

#include <simulated/Chooser.h>
#include <simulated/Replay.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::simulated {

/// One moment of a run with several possibilities, and what was chosen.
struct Decision {
    std::uint16_t ready; ///< events
    std::uint16_t count; ///< of all possibilities
    std::uint16_t choice;
};

/// How many older events the choice delays; a wait counts as one delay.
[[nodiscard]] inline std::size_t delaysOf(std::size_t choice, std::size_t ready)
{
    return choice < ready ? choice : 1;
}

/// A choice other than the oldest event, at the moment of this number among those with several possibilities.
struct ScriptedChoice {
    std::uint32_t moment;
    std::uint16_t choice;
};

/// The choices of a run that differ from the default order.
using Script = std::vector<ScriptedChoice>;

/// The choices of a script, and else the oldest event. A choice that is not there is the oldest event.
class ScriptChooser final : public Chooser {
public:
    explicit ScriptChooser(Script script) : script_(std::move(script)) { }

    [[nodiscard]] std::size_t choose(const Moment& moment) override;

private:
    const Script script_;
    std::size_t next_ = 0;
    std::uint32_t moments_ = 0;
};

/// The chain of the highest priority goes first. Priorities are random; at `depth - 1` random ones of the expected steps
/// the chain that would run gets a lower one than all others. Time is a chain, too. (S. Burckhardt, P. Kothari,
/// M. Musuvathi, S. Nagarakatte: A randomized scheduler with probabilistic guarantees of finding bugs. ASPLOS 2010.)
class PriorityChooser final : public Chooser {
public:
    PriorityChooser(std::uint64_t seed, std::size_t depth, std::size_t steps);

    [[nodiscard]] std::size_t choose(const Moment& moment) override;

private:
    [[nodiscard]] std::int64_t& priority(std::size_t chain);

    std::mt19937_64 random_;
    struct Change {
        std::size_t step;
        std::int64_t priority;
    };
    std::vector<Change> changes_; ///< in the order of their steps
    std::size_t nextChange_ = 0;
    std::size_t step_ = 0;
    std::vector<std::int64_t> priorities_; ///< of time, then of the chains; 0: none yet
};

/// Records what another one chooses.
class Recorder final : public Chooser {
public:
    Recorder(std::unique_ptr<Chooser> chooser, const ChoiceRules& rules)
        : Chooser(rules),
          chooser_(std::move(chooser))
    {
    }

    [[nodiscard]] std::size_t choose(const Moment& moment) override;

    [[nodiscard]] const std::vector<Decision>& decisions() const { return decisions_; }
    [[nodiscard]] std::size_t steps() const { return steps_; }
    /// Of which an event was ready; and time, if anything could wait.
    [[nodiscard]] std::size_t chains() const;

private:
    const std::unique_ptr<Chooser> chooser_;
    std::vector<Decision> decisions_;
    std::size_t steps_ = 0;
    std::vector<bool> chains_;
};

/// Runs a script, and says for people and for a replay what it chooses.
class Explainer final : public Chooser {
public:
    Explainer(Script script, const ChoiceRules& rules) : Chooser(rules), script_(std::move(script)) { }

    [[nodiscard]] std::size_t choose(const Moment& moment) override;

    /// A line for each choice.
    [[nodiscard]] const std::vector<std::string>& lines() const { return lines_; }
    [[nodiscard]] std::string replay() const { return Replay{rules(), choices_}.text(); }

private:
    void explain(const Moment& moment, std::size_t choice);

    ScriptChooser script_;
    std::size_t moments_ = 0;
    std::vector<ReplayedChoice> choices_;
    std::vector<std::string> lines_;
    std::size_t steps_ = 0;
    std::size_t waitedStep_ = 0; ///< the latest
    std::size_t waitingChain_ = 0;
    std::chrono::nanoseconds waitsFrom_{};
    std::chrono::nanoseconds waitsUntil_{};
};

} // namespace tamsel::simulated
