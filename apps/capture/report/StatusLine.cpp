#include "report/StatusLine.h"
#include "report/Utf8.h"

#include <unistd.h>

#include <cmath>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;

namespace {

constexpr auto interval = 250ms;
constexpr auto firstAfter = 1s;

} // namespace

TerminalLine::TerminalLine(Console& console)
    : console_(console),
      isShown_(!console.isJson() && isatty(STDERR_FILENO) != 0)
{
}

TerminalLine::~TerminalLine()
{
    console_.endProgress();
}

void TerminalLine::update(const std::function<std::string()>& text)
{
    const auto now = Clock::now();
    if (!isShown_ || now - start_ < firstAfter || now - latest_ < interval / 2)
        return;
    latest_ = now;
    console_.showProgress(text());
}

StatusLine::StatusLine(Console& console, platform::RunLoop& loop, std::function<std::string()> text)
    : text_(std::move(text)),
      line_(console)
{
    if (line_.isShown())
        timer_ = loop.scheduleTimer(interval, true, [this](platform::Timer&) { line_.update(text_); });
}

StatusLine::~StatusLine()
{
    if (timer_)
        timer_->invalidate();
    line_.update(text_);
}

std::string Progress::text(double done, double total) const
{
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    const double rate = elapsed > 0 ? done / elapsed : 0;
    const int digits = total == std::floor(total) ? 0 : 1;
    return formatted(
               "%.*f of %.*f %s, %.3g %s/s", digits, done, digits, total, unit_.c_str(), rate, unit_.c_str())
        + (rate > 0 && done < total ? formatted(", %.0f s left", std::ceil((total - done) / rate)) : "");
}

} // namespace tamsel::capture
