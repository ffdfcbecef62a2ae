#pragma once

#include <host/location/HostLocationSource.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/CLLocationManager.h>

#include <chrono>
#include <condition_variable>
#include <optional>
#include <string>

namespace tamsel::host {

/// The last location and heading that a daemon has reported. Thread-safe.
class GpsdNews {
public:
    explicit GpsdNews(const GpsdAddress& address);

    [[nodiscard]] std::optional<platform::CLLocation> location() const;
    [[nodiscard]] std::optional<platform::CLHeading> heading() const;
    /// One line that names the daemon; empty when it responds and has reported a fix.
    [[nodiscard]] std::string problem() const;
    /// There is no problem, but no fix yet.
    [[nodiscard]] bool isAwaited() const;

    void setLocation(const platform::CLLocation& location);
    void setHeading(const platform::CLHeading& heading);
    /// The reason why the daemon's reports do not arrive; empty when they do.
    void setProblem(std::string problem);

    /// The news has no reader any more.
    void close();
    [[nodiscard]] bool isClosed() const;
    /// Waits for `close`, at most until the limit.
    [[nodiscard]] bool isClosedWithin(std::chrono::milliseconds limit) const;

private:
    static constexpr const char* connecting = "connecting";

    const std::string name_;

    mutable Mutex guard_;
    mutable Condition closed_;
    bool isClosed_ TAMSEL_GUARDED_BY(guard_) = false;
    std::optional<platform::CLLocation> location_ TAMSEL_GUARDED_BY(guard_);
    std::optional<platform::CLHeading> heading_ TAMSEL_GUARDED_BY(guard_);
    std::string problem_ TAMSEL_GUARDED_BY(guard_) = connecting;
};

} // namespace tamsel::host
