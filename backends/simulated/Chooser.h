#pragma once

#include <chrono>
#include <cstddef>
#include <span>
#include <stdexcept>
#include <string_view>

namespace tamsel::simulated {

/// An event that is ready to run.
struct ReadyEvent {
    std::string_view name; ///< for people: the label of its queue, or its device
    /// Events of a chain (a queue, a timer, the frames of a camera) keep their order. Numbered from 0 on.
    std::size_t chain;
};

/// A moment of a phone in which one of several things happens next.
struct Moment {
    std::chrono::nanoseconds now;
    std::span<const ReadyEvent> ready; ///< the oldest first, at least one
    /// The times to which all of them may wait: the next event's, and the latest that is permitted. At most two.
    std::span<const std::chrono::nanoseconds> later;

    [[nodiscard]] std::size_t count() const { return ready.size() + later.size(); }
};

/// What may be chosen. All times are virtual ones.
struct ChoiceRules {
    /// Time may pass although events are ready, but no event runs later than this after its proper time.
    std::chrono::nanoseconds lateBy{};
    /// Before and after these times nothing is chosen: the oldest event goes first, and none is late.
    std::chrono::nanoseconds from{};
    std::chrono::nanoseconds until = std::chrono::nanoseconds::max();
    /// A scenario that runs beyond this time, or does 100,000 things while no time passes, ends by a `ScenarioError`.
    std::chrono::nanoseconds restBy = std::chrono::nanoseconds::max();
};

/// Decides the order of the events of one phone.
class Chooser {
public:
    explicit Chooser(const ChoiceRules& rules = {}) : rules_(rules) { }
    virtual ~Chooser() = default;
    Chooser(const Chooser&) = delete;
    Chooser& operator=(const Chooser&) = delete;

    [[nodiscard]] const ChoiceRules& rules() const { return rules_; }

    /// An index less than `moment.count()`: the event that runs next, or beyond them a time for which all events wait
    /// that are ready now. It is also called for moments with one event and nothing to choose.
    [[nodiscard]] virtual std::size_t choose(const Moment& moment) = 0;

private:
    const ChoiceRules rules_;
};

/// A scenario that cannot continue: it never comes to rest, or a replay does not fit.
class ScenarioError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace tamsel::simulated
