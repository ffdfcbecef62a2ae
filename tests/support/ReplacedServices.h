#pragma once

#include <tamsel/platform/Clock.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/RunLoop.h>

#include <type_traits>
#include <vector>

namespace tamsel::tests {

/// A wall clock that says what a test tells it, each planned time once, and counts how often it is asked.
class ScriptedClock final : public platform::Clock {
public:
    [[nodiscard]] double timeIntervalSince1970() const override
    {
        ++reads;
        if (planned.empty())
            return now;
        const double next = planned.front();
        planned.erase(planned.begin());
        return next;
    }
    [[nodiscard]] std::chrono::nanoseconds monotonic() const override { return {}; }

    double now = 0;
    mutable std::vector<double> planned;
    mutable int reads = 0;
};

/// The same platform with one service replaced.
template <typename Service>
[[nodiscard]] platform::Platform with(const platform::Platform& given, Service& replacement)
{
    const auto choose = [&]<typename Role>(Role& own) -> Role& {
        if constexpr (std::is_base_of_v<Role, Service>)
            return replacement;
        else
            return own;
    };
    return {choose(given.dispatch), choose(given.runLoops), choose(given.clock), choose(given.capture),
        choose(given.motion), choose(given.assets), choose(given.images), choose(given.location),
        choose(given.audio), choose(given.device), choose(given.application),
        choose(given.notificationCenter), choose(given.tamsel), choose(given.reports),
        choose(given.diagnostics)};
}

} // namespace tamsel::tests
