#include <host/HostServices.h>

#include <engine/dispatch/callback.h>
#include <engine/dispatch/monotonicNow.h>

#include <ctime>

#include <utility>

namespace tamsel::host {

double SystemClock::timeIntervalSince1970() const
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::chrono::nanoseconds SystemClock::monotonic() const
{
    return engine::monotonicNow();
}

int secondsFromUTC(double secondsSince1970)
{
    const auto moment = static_cast<std::time_t>(secondsSince1970);
    std::tm local{};
    return ::localtime_r(&moment, &local) ? static_cast<int>(local.tm_gmtoff) : 0;
}

LineWriter::LineWriter(std::function<void(std::string_view)> write, std::FILE* stream)
    : write_(std::move(write)),
      stream_(stream)
{
}

void LineWriter::writeLine(std::string_view line)
{
    MutexLock lock(guard_);
    waiting_.emplace_back(line);
    if (std::exchange(isWriting_, true))
        return;
    while (!waiting_.empty()) {
        const std::string next = std::move(waiting_.front());
        waiting_.pop_front();
        lock.unlock();
        write(next);
        lock.lock();
    }
    isWriting_ = false;
}

void LineWriter::write(const std::string& line) const
{
    if (write_) {
        engine::callOut(write_, line);
        return;
    }
    const std::string text = line + "\n";
    std::fwrite(text.data(), 1, text.size(), stream_);
    std::fflush(stream_);
}

void LastLine::set(std::string line)
{
    const MutexLock lock(guard_);
    line_.swap(line);
}

std::string LastLine::get() const
{
    const MutexLock lock(guard_);
    return line_;
}

} // namespace tamsel::host
