#pragma once

#include "report/Console.h"

#include <tamsel/platform/RunLoop.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tamsel::capture {

/// A line of a terminal that says how far things are: from the first second on, a few times a second. Nothing appears where
/// the standard error is no terminal, or where events are written.
class TerminalLine {
public:
    explicit TerminalLine(const Console& console);
    /// Shows the last text, if there was one, and ends the line.
    ~TerminalLine();
    TerminalLine(const TerminalLine&) = delete;
    TerminalLine& operator=(const TerminalLine&) = delete;

    [[nodiscard]] bool isShown() const { return isShown_; }
    /// Shows what `text` returns when it is time to.
    void update(const std::function<std::string()>& text);

private:
    using Clock = std::chrono::steady_clock;

    const bool isShown_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point latest_ = start_;
    std::string text_;
};

/// Updates a line by a timer of a loop.
class StatusLine {
public:
    StatusLine(const Console& console, platform::RunLoop& loop, std::function<std::string()> text);
    ~StatusLine();
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

private:
    const std::function<std::string()> text_;
    TerminalLine line_;
    std::shared_ptr<platform::Timer> timer_; ///< absent where nothing is shown
};

/// How far something is whose end is known, since it was made: "12.0 of 60.0 s, 4.1 s a second, 12 s left".
class Progress {
public:
    explicit Progress(std::string unit) : unit_(std::move(unit)) { }

    [[nodiscard]] std::string text(double done, double total) const;

private:
    std::string unit_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

} // namespace tamsel::capture
