#pragma once

#include "report/Console.h"

#include <tamsel/platform/RunLoop.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tamsel::capture {

/// Says on a terminal how far things are, four times a second and once more at the end; nothing where nobody looks, or where
/// events are written.
class StatusLine {
public:
    StatusLine(const Console& console, platform::RunLoop& loop, std::function<std::string()> text);
    ~StatusLine();
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

private:
    void show();

    const std::function<std::string()> text_;
    std::shared_ptr<platform::Timer> timer_; ///< absent where nobody looks
    std::chrono::steady_clock::time_point latest_{};
};

} // namespace tamsel::capture
