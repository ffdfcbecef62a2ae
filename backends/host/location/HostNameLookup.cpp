#include <host/location/HostNameLookup.h>

#include <engine/dispatch/startThread.h>

#include <netdb.h>
#include <poll.h>

#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace tamsel::host {

using platform::Error;

namespace {

using Result = std::expected<std::vector<SocketAddress>, Error>;

constexpr std::chrono::seconds patience{10};

Result lookUp(const GpsdAddress& address, int flags)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int number
        = ::getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &hints, &found);
    if (number != 0)
        return std::unexpected(Error{.localizedDescription = ::gai_strerror(number), .code = number});
    std::vector<SocketAddress> addresses;
    for (const addrinfo* each = found; each; each = each->ai_next) {
        SocketAddress& place = addresses.emplace_back();
        place.size = each->ai_addrlen;
        std::memcpy(&place.storage, each->ai_addr, each->ai_addrlen);
    }
    ::freeaddrinfo(found);
    return addresses;
}

} // namespace

struct HostNameLookup::Request {
    StopSignal done;
    std::mutex guard;
    std::optional<Result> result;
};

Result HostNameLookup::addresses(const StopSignal& stop)
{
    if (auto numeric = lookUp(address_, AI_NUMERICHOST))
        return numeric;
    if (!pending_) {
        pending_ = std::make_shared<Request>();
        std::thread thread = engine::startThread([request = pending_, address = address_] {
            Result result = lookUp(address, 0);
            {
                const std::lock_guard lock(request->guard);
                request->result = std::move(result);
            }
            request->done.raise();
        });
        if (!thread.joinable()) {
            pending_ = nullptr;
            return std::unexpected(Error{"no thread is left to look the name's address up"});
        }
        thread.detach();
    }
    if (stop.wait(pending_->done.descriptor(), POLLIN, patience) != StopSignal::Waited::ready)
        return std::unexpected(Error{"the name's address is still being looked up"});
    const auto request = std::exchange(pending_, nullptr);
    const std::lock_guard lock(request->guard);
    return *std::move(request->result);
}

} // namespace tamsel::host
