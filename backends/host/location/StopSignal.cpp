#include <host/location/StopSignal.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace tamsel::host {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

StopSignal::StopSignal() : descriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    if (descriptor_ < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
}

StopSignal::~StopSignal()
{
    ::close(descriptor_);
}

void StopSignal::raise()
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(descriptor_, &one, sizeof one); // cannot block or fail
}

bool StopSignal::isRaised() const
{
    return wait(-1, 0, milliseconds(0)) == Waited::raised;
}

StopSignal::Waited StopSignal::wait(int descriptor, short events, milliseconds limit) const
{
    const auto end = steady_clock::now() + limit;
    while (true) {
        std::array<pollfd, 2> polled{{{descriptor_, POLLIN, 0}, {descriptor, events, 0}}};
        const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
        ::poll(polled.data(), polled.size(), static_cast<int>(std::max<milliseconds::rep>(left.count(), 0)));
        if (polled[0].revents != 0)
            return Waited::raised;
        if (polled[1].revents != 0)
            return Waited::ready;
        if (steady_clock::now() >= end)
            return Waited::tooLong;
    }
}

} // namespace tamsel::host
