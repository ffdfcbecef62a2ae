#pragma once

#include "report/Console.h"

#include <tamsel/platform/RunLoop.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tamsel::capture {

/// A line of progress on a terminal, from the first second on and a few times a second. Nothing is shown with `--json`, or
/// where standard error is not a terminal.
class TerminalLine {
public:
    explicit TerminalLine(Console& console);
    /// Leaves the last text on the terminal.
    ~TerminalLine();
    TerminalLine(const TerminalLine&) = delete;
    TerminalLine& operator=(const TerminalLine&) = delete;

    [[nodiscard]] bool isShown() const { return isShown_; }
    /// Shows what `text` returns, unless the line is recent enough.
    void update(const std::function<std::string()>& text);

private:
    using Clock = std::chrono::steady_clock;

    Console& console_;
    const bool isShown_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point latest_ = start_;
};

/// A line of progress that a timer of the run loop updates.
class StatusLine {
public:
    StatusLine(Console& console, platform::RunLoop& loop, std::function<std::string()> text);
    ~StatusLine();
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

private:
    const std::function<std::string()> text_;
    TerminalLine line_;
    std::shared_ptr<platform::Timer> timer_; ///< null when nothing is shown
};

/// Progress towards a known total since construction: "12 of 60 s, 4.1 s/s, 12 s left".
class Progress {
public:
    explicit Progress(std::string unit) : unit_(std::move(unit)) { }

    [[nodiscard]] std::string text(double done, double total) const;

private:
    std::string unit_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

} // namespace tamsel::capture
