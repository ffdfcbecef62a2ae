#include <engine/dispatch/HeldUpWatch.h>

#include <engine/dispatch/startThread.h>

#include <chrono>

namespace tamsel::engine {

namespace {

constexpr std::chrono::milliseconds interval{10};

} // namespace

void HeldUpWatch::start()
{
    thread_ = startThread([this] { watch(); });
}

void HeldUpWatch::stop()
{
    {
        const MutexLock lock(guard_);
        isStopping_ = true;
    }
    changed_.notifyAll();
    if (thread_.joinable())
        thread_.join();
}

void HeldUpWatch::turnOn()
{
    {
        const MutexLock lock(guard_);
        isOn_ = true;
    }
    changed_.notifyAll();
}

void HeldUpWatch::watch()
{
    MutexLock lock(guard_);
    while (!isStopping_) {
        if (!isOn_) {
            changed_.wait(lock);
            continue;
        }
        const auto due = std::chrono::steady_clock::now() + interval;
        while (!isStopping_ && changed_.waitUntil(lock, due)) { }
        if (isStopping_)
            return;
        // Off before the check: work that begins meanwhile turns it on again.
        isOn_ = false;
        lock.unlock();
        const bool again = look_();
        lock.lock();
        if (again)
            isOn_ = true;
    }
}

} // namespace tamsel::engine
