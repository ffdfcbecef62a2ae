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

/// True when that was new.
template <typename Value> bool put(std::mutex& guard, Value& place, Value value)
{
    const std::lock_guard lock(guard);
    if (place == value)
        return false;
    place = std::move(value);
    return true;
}

} // namespace

GpsdNews::GpsdNews(const GpsdAddress& address, std::function<void()> whenChanged)
    : name_(nameOf(address)),
      whenChanged_(std::move(whenChanged))
{
}

std::optional<CLLocation> GpsdNews::location() const
{
    const std::lock_guard lock(guard_);
    return location_;
}

std::optional<CLHeading> GpsdNews::heading() const
{
    const std::lock_guard lock(guard_);
    return heading_;
}

std::string GpsdNews::problem() const
{
    const std::lock_guard lock(guard_);
    if (!problem_.empty())
        return name_ + ": " + problem_;
    return location_ ? "" : name_ + ": no three-dimensional fix yet";
}

bool GpsdNews::isAwaited() const
{
    const std::lock_guard lock(guard_);
    return !location_ && (problem_.empty() || problem_ == connecting);
}

void GpsdNews::setLocation(const CLLocation& location)
{
    if (put(guard_, location_, std::optional(location)))
        tell();
}

void GpsdNews::setHeading(const CLHeading& heading)
{
    if (put(guard_, heading_, std::optional(heading)))
        tell();
}

void GpsdNews::setProblem(std::string problem)
{
    if (put(guard_, problem_, std::move(problem)))
        tell();
}

void GpsdNews::tell() const
{
    if (whenChanged_)
        whenChanged_();
}

} // namespace tamsel::host
