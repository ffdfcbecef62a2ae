#pragma once

#include <tamsel/platform/Platform.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/core/Reports.h>

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

class KeptReports final : public platform::ReportSink {
public:
    void report(const platform::TamselError& error) override { errors.push_back(error); }

    std::vector<platform::TamselError> errors;
};

/// The same platform with another clock or another sink.
[[nodiscard]] inline platform::Platform with(const platform::Platform& given, platform::Clock& clock)
{
    return {given.dispatch, given.runLoops, clock, given.capture, given.motion, given.assets, given.images,
        given.device, given.application, given.notificationCenter, given.reports, given.diagnostics};
}

[[nodiscard]] inline platform::Platform with(const platform::Platform& given, platform::ReportSink& reports)
{
    return {given.dispatch, given.runLoops, given.clock, given.capture, given.motion, given.assets,
        given.images, given.device, given.application, given.notificationCenter, reports, given.diagnostics};
}

} // namespace tamsel::tests
