#pragma once

#include <host/location/GpsdNews.h>

#include <memory>

namespace tamsel::host {

/// Reads the reports of a gpsd daemon into the news for as long as it lives, on a thread of its own. Without a daemon
/// it tries again every second.
class GpsdClient {
public:
    GpsdClient(const GpsdAddress& address, std::shared_ptr<GpsdNews> news);
    /// Does not wait for the thread, which may be resolving a name or connecting. The thread ends by itself, and keeps
    /// the news until then.
    ~GpsdClient();
    GpsdClient(const GpsdClient&) = delete;
    GpsdClient& operator=(const GpsdClient&) = delete;

private:
    const std::shared_ptr<GpsdNews> news_;
};

} // namespace tamsel::host
