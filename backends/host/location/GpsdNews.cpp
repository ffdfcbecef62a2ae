#include <host/location/GpsdNews.h>

#include <utility>

namespace tamsel::host {

using platform::CLHeading;
using platform::CLLocation;

namespace {

std::string nameOf(const GpsdAddress& address)
{
    const std::string host = address.host.contains(':') ? "[" + address.host + "]" : address.host;
    return "gpsd at " + host + ":" + std::to_string(address.port);
}

} // namespace

GpsdNews::GpsdNews(const GpsdAddress& address) : name_(nameOf(address)) { }

std::optional<CLLocation> GpsdNews::location() const
{
    const MutexLock lock(guard_);
    return location_;
}

std::optional<CLHeading> GpsdNews::heading() const
{
    const MutexLock lock(guard_);
    return heading_;
}

std::string GpsdNews::problem() const
{
    const MutexLock lock(guard_);
    if (!problem_.empty())
        return name_ + ": " + problem_;
    return location_ ? "" : name_ + ": no three-dimensional fix yet";
}

bool GpsdNews::isAwaited() const
{
    const MutexLock lock(guard_);
    return !location_ && (problem_.empty() || problem_ == connecting);
}

void GpsdNews::setLocation(const CLLocation& location)
{
    const MutexLock lock(guard_);
    location_ = location;
}

void GpsdNews::setHeading(const CLHeading& heading)
{
    const MutexLock lock(guard_);
    heading_ = heading;
}

void GpsdNews::setProblem(std::string problem)
{
    const MutexLock lock(guard_);
    problem_ = std::move(problem);
}

void GpsdNews::close()
{
    const MutexLock lock(guard_);
    isClosed_ = true;
    closed_.notifyAll();
}

bool GpsdNews::isClosed() const
{
    const MutexLock lock(guard_);
    return isClosed_;
}

bool GpsdNews::isClosedWithin(std::chrono::milliseconds limit) const
{
    MutexLock lock(guard_);
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!isClosed_ && closed_.waitUntil(lock, end)) { }
    return isClosed_;
}

} // namespace tamsel::host
