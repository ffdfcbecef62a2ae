#include "report/StatusLine.h"

#include "report/Utf8.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;

namespace {

constexpr auto interval = 250ms;

} // namespace

StatusLine::StatusLine(const Console& console, platform::RunLoop& loop, std::function<std::string()> text)
    : text_(std::move(text))
{
    if (console.isJson() || isatty(STDERR_FILENO) == 0)
        return;
    timer_ = loop.scheduleTimer(interval, true, [this](platform::Timer&) {
        const auto now = std::chrono::steady_clock::now(); // virtual time may run faster than anybody reads
        if (now - latest_ < interval / 2)
            return;
        latest_ = now;
        show();
    });
}

StatusLine::~StatusLine()
{
    if (!timer_)
        return;
    timer_->invalidate();
    show();
    std::fputc('\n', stderr);
}

void StatusLine::show()
{
    std::fprintf(stderr, "\r%s   ", printable(text_()).c_str());
}

} // namespace tamsel::capture
