#pragma once

#include <host/location/HostLocationSource.h>
#include <host/location/HostNameLookup.h>
#include <host/location/StopSignal.h>

#include <tamsel/platform/Error.h>

#include <expected>
#include <string>

namespace tamsel::host {

/// A connection to a daemon that reports everything. One thread's; every wait ends soon after the signal was raised,
/// with an error that nobody reads.
class GpsdConnection {
public:
    explicit GpsdConnection(const StopSignal& stop) : stop_(stop) { }
    ~GpsdConnection();
    GpsdConnection(const GpsdConnection&) = delete;
    GpsdConnection& operator=(const GpsdConnection&) = delete;

    /// Succeeds when what listens there is such a daemon. Called once.
    [[nodiscard]] std::expected<void, platform::Error> open(HostNameLookup& lookup);
    /// The next line of its reports, whenever it comes.
    [[nodiscard]] std::expected<std::string, platform::Error> nextLine();

private:
    [[nodiscard]] std::expected<void, platform::Error> connectTo(const SocketAddress& address);
    [[nodiscard]] std::expected<std::string, platform::Error> nextLineWithin(std::chrono::milliseconds limit);
    void close();

    const StopSignal& stop_;
    int descriptor_ = -1;
    std::string buffer_; ///< received, and not yet handed out
};

} // namespace tamsel::host
