#pragma once

#include <host/location/HostLocationSource.h>

#include <tamsel/platform/CLLocationManager.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/LocationServices.h>

#include <memory>
#include <string>

namespace tamsel::host {

/// The location of the machine, from what a person has named. Managers may outlive it. Thread-safe.
class HostLocation final : public platform::LocationServices {
public:
    /// The clock must outlive the managers.
    HostLocation(HostLocationSource source, const platform::Clock& clock);
    ~HostLocation() override;
    HostLocation(const HostLocation&) = delete;
    HostLocation& operator=(const HostLocation&) = delete;

    [[nodiscard]] std::unique_ptr<platform::CLLocationManager> makeLocationManager() override;

    /// Why there is no location, or, from a daemon, why it may be old: one line. Empty when nothing is wrong.
    [[nodiscard]] std::string problem() const;
    /// A daemon is asked and has not reported its first fix.
    [[nodiscard]] bool isAwaited() const;

private:
    struct Known;
    class Manager;

    std::shared_ptr<const Known> known_;
    std::shared_ptr<void> client_; ///< reads a daemon's reports, in a build that can
};

} // namespace tamsel::host
