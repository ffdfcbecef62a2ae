#pragma once

#include <host/location/HostLocationSource.h>
#include <host/location/StopSignal.h>

#include <tamsel/platform/Error.h>

#include <sys/socket.h>

#include <expected>
#include <memory>
#include <vector>

namespace tamsel::host {

/// Where a socket can be connected to.
struct SocketAddress {
    sockaddr_storage storage{};
    socklen_t size = 0;
};

/// Finds the addresses of a name without being held up by it: a resolver that does not answer waits on a thread of its
/// own, which nobody waits for, touches nothing else, and ends by itself.
class HostNameLookup {
public:
    explicit HostNameLookup(GpsdAddress address) : address_(std::move(address)) { }

    /// At least one, or why there is none; also when it takes too long or the signal was raised.
    [[nodiscard]] std::expected<std::vector<SocketAddress>, platform::Error> addresses(
        const StopSignal& stop);

private:
    struct Request;

    const GpsdAddress address_;
    std::shared_ptr<Request> pending_;
};

} // namespace tamsel::host
