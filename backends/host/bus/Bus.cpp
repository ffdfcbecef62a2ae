#include <host/bus/Bus.h>

#include <engine/dispatch/monotonicNow.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <system_error>
#include <utility>

namespace tamsel::host {

using namespace std::chrono_literals;
using platform::whileAlive;

namespace {

/// How soon a full socket is tried again.
constexpr auto writePause = 20ms;

/// Empty where there is no such bus.
std::string describe(int result)
{
    switch (-result) {
    case ENOENT:
    case ENOMEDIUM:
    case ECONNREFUSED:
        return {};
    case ECONNRESET:
    case ENOTCONN:
        return "it has closed the connection";
    case ETIMEDOUT:
        return "it does not answer";
    default:
        return std::system_category().message(-result);
    }
}

} // namespace

Bus::Bus(Kind kind, std::shared_ptr<platform::DispatchQueue> queue, engine::EventSources& events)
    : kind_(kind),
      queue_(std::move(queue)),
      events_(events)
{
}

Bus::~Bus()
{
    close();
}

void Bus::open(std::function<void()> opened, std::function<void(const std::string&)> closed)
{
    closed_ = std::move(closed);
    queue_->async(whileAlive(weak_from_this(), [opened = std::move(opened)](Bus& self) {
        self.connect();
        if (self.bus_)
            opened();
    }));
}

void Bus::connect()
{
    if (const int result = kind_ == Kind::system ? sd_bus_open_system(&bus_) : sd_bus_open_user(&bus_);
        result < 0) {
        fail(result);
        return;
    }
    timer_ = events_.makeTimer(whileAlive(weak_from_this(), [](Bus& self) { self.postProcess(); }));
    if (timer_)
        postProcess();
    else
        fail(-EMFILE);
}

void Bus::addMatch(const std::string& rule, sd_bus_message_handler_t callback, void* owner)
{
    if (bus_)
        check(sd_bus_add_match_async(bus_, nullptr, rule.c_str(), callback, nullptr, owner));
}

void Bus::check(int result)
{
    if (result < 0)
        fail(result);
}

void Bus::postProcess()
{
    queue_->async(whileAlive(weak_from_this(), [](Bus& self) { self.process(); }));
}

/// One message at a time, so that a busy bus does not hold up the other queues.
void Bus::process()
{
    if (!bus_)
        return;
    const int result = sd_bus_process(bus_, nullptr);
    if (!bus_)
        return; // a request of a handler has failed
    if (result < 0)
        fail(result);
    else if (result > 0)
        postProcess();
    else
        waitForEvents();
}

/// sd-bus may close its descriptor at any time, also for one to the next address, and the system may then give its
/// number to another file. So the poll set has a copy.
void Bus::waitForEvents()
{
    stopWaiting();
    descriptor_ = ::fcntl(sd_bus_get_fd(bus_), F_DUPFD_CLOEXEC, 0);
    readable_ = events_.makeDescriptor(
        descriptor_, whileAlive(weak_from_this(), [](Bus& self) { self.postProcess(); }));
    if (!readable_) {
        fail(-EMFILE);
        return;
    }
    std::uint64_t microseconds = UINT64_MAX;
    sd_bus_get_timeout(bus_, &microseconds);
    auto limit = microseconds < INT64_MAX / 1000 ? std::chrono::nanoseconds(microseconds * 1000)
                                                 : std::chrono::nanoseconds::max();
    if ((sd_bus_get_events(bus_) & POLLOUT) != 0)
        limit = std::min(limit, engine::monotonicNow() + writePause);
    if (limit != std::chrono::nanoseconds::max())
        timer_->armAt(limit);
    readable_->armReadable();
}

void Bus::fail(int result)
{
    close();
    if (closed_)
        closed_(describe(result));
}

void Bus::stopWaiting()
{
    readable_ = nullptr; // before its descriptor
    if (descriptor_ >= 0)
        ::close(std::exchange(descriptor_, -1));
}

void Bus::close()
{
    stopWaiting();
    timer_ = nullptr;
    bus_ = sd_bus_close_unref(bus_);
}

} // namespace tamsel::host
