#include <host/location/GpsdConnection.h>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

namespace tamsel::host {

using platform::Error;
using Waited = StopSignal::Waited;

namespace {

constexpr std::chrono::seconds patience{10};
constexpr std::chrono::hours forEver{24};
constexpr std::size_t longestLine = 1 << 16;

std::unexpected<Error> failure(int number)
{
    return std::unexpected(
        Error{.localizedDescription = std::generic_category().message(number), .code = number});
}

/// A machine that vanished without a word is noticed within half a minute.
void keepAlive(int descriptor)
{
    const auto set = [descriptor](int level, int option, int value) {
        ::setsockopt(descriptor, level, option, &value, sizeof value);
    };
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, 10); // seconds, as the next one
    set(IPPROTO_TCP, TCP_KEEPINTVL, 5);
    set(IPPROTO_TCP, TCP_KEEPCNT, 3);
}

} // namespace

GpsdConnection::~GpsdConnection()
{
    close();
}

void GpsdConnection::close()
{
    if (descriptor_ >= 0)
        ::close(std::exchange(descriptor_, -1));
}

std::expected<void, Error> GpsdConnection::open(HostNameLookup& lookup)
{
    const auto addresses = lookup.addresses(stop_);
    if (!addresses)
        return std::unexpected(addresses.error());
    std::expected<void, Error> connected = failure(EADDRNOTAVAIL);
    for (const SocketAddress& address : *addresses) {
        connected = connectTo(address);
        if (connected || stop_.isRaised())
            break;
        close();
    }
    if (!connected)
        return connected;
    const auto greeting = nextLineWithin(patience);
    if (!greeting)
        return std::unexpected(greeting.error());
    if (!greeting->contains("\"class\":\"VERSION\""))
        return std::unexpected(Error{"what listens there is no gpsd"});
    keepAlive(descriptor_);
    constexpr std::string_view watch = "?WATCH={\"enable\":true,\"json\":true};\n";
    if (::send(descriptor_, watch.data(), watch.size(), MSG_NOSIGNAL) != std::ssize(watch))
        return failure(errno);
    return {};
}

std::expected<void, Error> GpsdConnection::connectTo(const SocketAddress& address)
{
    descriptor_ = ::socket(address.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor_ < 0)
        return failure(errno);
    if (::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address.storage), address.size) == 0)
        return {};
    if (errno != EINPROGRESS)
        return failure(errno);
    if (stop_.wait(descriptor_, POLLOUT, patience) != Waited::ready)
        return failure(ETIMEDOUT);
    int number = 0;
    socklen_t size = sizeof number;
    if (::getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &number, &size) != 0)
        number = errno;
    if (number != 0)
        return failure(number);
    return {};
}

std::expected<std::string, Error> GpsdConnection::nextLine()
{
    return nextLineWithin(forEver);
}

std::expected<std::string, Error> GpsdConnection::nextLineWithin(std::chrono::milliseconds limit)
{
    while (true) {
        if (const std::size_t end = buffer_.find('\n'); end != std::string::npos) {
            std::string line = buffer_.substr(0, end);
            buffer_.erase(0, end + 1);
            return line;
        }
        if (buffer_.size() > longestLine)
            return std::unexpected(Error{"what listens there is no gpsd"});
        if (stop_.wait(descriptor_, POLLIN, limit) != Waited::ready)
            return failure(ETIMEDOUT);
        std::array<char, 4096> received{};
        const ssize_t size = ::recv(descriptor_, received.data(), received.size(), 0);
        if (size == 0)
            return std::unexpected(Error{"the daemon has gone"});
        if (size > 0)
            buffer_.append(received.data(), static_cast<std::size_t>(size));
        else if (errno != EAGAIN && errno != EINTR)
            return failure(errno);
    }
}

} // namespace tamsel::host
