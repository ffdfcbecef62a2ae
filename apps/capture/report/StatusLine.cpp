#include "report/StatusLine.h"

#include "report/Utf8.h"

#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;

namespace {

constexpr auto interval = 250ms;
constexpr auto firstAfter = 1s;

} // namespace

TerminalLine::TerminalLine(const Console& console) : isShown_(!console.isJson() && isatty(STDERR_FILENO) != 0)
{
}

TerminalLine::~TerminalLine()
{
    if (!text_.empty())
        std::fputc('\n', stderr);
}

void TerminalLine::update(const std::function<std::string()>& text)
{
    const auto now = Clock::now();
    if (!isShown_ || now - start_ < firstAfter || now - latest_ < interval / 2)
        return;
    latest_ = now;
    const std::size_t before = text_.size();
    text_ = printable(text());
    const std::size_t rest = before > text_.size() ? before - text_.size() : 0;
    std::fprintf(stderr, "\r%s%s", text_.c_str(), std::string(rest, ' ').c_str());
}

StatusLine::StatusLine(const Console& console, platform::RunLoop& loop, std::function<std::string()> text)
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
    std::array<char, 120> text{};
    const int digits = total == std::floor(total) ? 0 : 1;
    const int length = std::snprintf(text.data(), text.size(), "%.*f of %.*f %s, %.3g a second", digits, done,
        digits, total, unit_.c_str(), rate);
    if (rate > 0 && done < total)
        std::snprintf(text.data() + length, text.size() - static_cast<std::size_t>(length), ", %.0f s left",
            std::ceil((total - done) / rate));
    return text.data();
}

} // namespace tamsel::capture
