#include <host/iio/IioPoller.h>

#include <engine/dispatch/monotonicNow.h>
#include <engine/dispatch/startThread.h>

#include <algorithm>
#include <thread>
#include <utility>

namespace tamsel::host {

using engine::monotonicNow;
using std::chrono::nanoseconds;

void IioPoller::start(std::vector<IioChannels> sensors, nanoseconds interval)
{
    const MutexLock lock(guard_);
    newest_.assign(sensors.size(), std::nullopt);
    sensors_ = std::move(sensors);
    interval_ = interval;
    ++changes_;
    changed_.notifyAll();
    if (isRunning_)
        return;
    std::thread thread = engine::startThread([self = shared_from_this()] { self->run(); });
    isRunning_ = thread.joinable();
    if (isRunning_)
        thread.detach();
    else
        newest_.assign(newest_.size(),
            Newest{std::unexpected(platform::Error{.localizedDescription = "the system has no thread left"}),
                monotonicNow()});
}

void IioPoller::stop()
{
    const MutexLock lock(guard_);
    sensors_.clear();
    ++changes_;
    changed_.notifyAll();
}

std::optional<IioPoller::Newest> IioPoller::newest(std::size_t sensor) const
{
    const MutexLock lock(guard_);
    return newest_[sensor];
}

void IioPoller::run()
{
    nanoseconds due = monotonicNow();
    MutexLock lock(guard_);
    while (!sensors_.empty()) {
        const std::uint64_t change = changes_;
        const std::vector<IioChannels> sensors = sensors_;
        for (std::size_t each = 0; each < sensors.size() && changes_ == change; ++each) {
            lock.unlock();
            Newest newest{sensors[each].poll(), monotonicNow()};
            lock.lock();
            if (changes_ == change)
                newest_[each] = std::move(newest);
        }
        due = std::max(due + interval_, monotonicNow());
        while (changes_ == change && changed_.waitUntil(lock, std::chrono::steady_clock::time_point(due))) { }
    }
    isRunning_ = false;
}

} // namespace tamsel::host
