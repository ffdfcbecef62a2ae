#pragma once

#include <host/location/HostLocationSource.h>

#include <tamsel/platform/CLLocationManager.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/LocationServices.h>

#include <memory>
#include <string>

namespace tamsel::host {

/// The location of the machine, from its configured source. Managers may outlive it. Thread-safe.
class HostLocation final : public platform::LocationServices {
public:
    /// The clock must outlive the managers.
    HostLocation(HostLocationSource source, const platform::Clock& clock);
    ~HostLocation() override;
    HostLocation(const HostLocation&) = delete;
    HostLocation& operator=(const HostLocation&) = delete;

    [[nodiscard]] std::unique_ptr<platform::CLLocationManager> makeLocationManager() override;

    /// The reason why there is no location, or why a daemon's location may be old: one line. Empty if it is current.
    [[nodiscard]] std::string problem() const;
    /// A daemon has not reported its first fix yet.
    [[nodiscard]] bool isAwaited() const;

private:
    struct Known;
    class Manager;

    std::shared_ptr<const Known> known_;
    std::shared_ptr<void> client_; ///< reads a daemon's reports, in a build with gpsd
};

} // namespace tamsel::host
