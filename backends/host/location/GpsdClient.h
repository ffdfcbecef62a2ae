#pragma once

#include <host/location/GpsdNews.h>
#include <host/location/StopSignal.h>

#include <memory>

namespace tamsel::host {

class ReaderThreads;

/// Hears a daemon as long as it lives, on a thread of the readers, and tries again every second when there is none.
class GpsdClient {
public:
    GpsdClient(const GpsdAddress& address, ReaderThreads& readers, const std::shared_ptr<GpsdNews>& news);
    /// Asks the thread to end, and does not wait for it.
    ~GpsdClient();
    GpsdClient(const GpsdClient&) = delete;
    GpsdClient& operator=(const GpsdClient&) = delete;

private:
    const std::shared_ptr<StopSignal> stop_ = std::make_shared<StopSignal>();
};

} // namespace tamsel::host
