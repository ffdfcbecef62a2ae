#pragma once

#include <host/location/HostLocationSource.h>

#include <tamsel/platform/CLLocationManager.h>
#include <tamsel/platform/RunLoop.h>

#include <functional>
#include <memory>
#include <string>

namespace tamsel::host {

class ReaderThreads;

/// The location of the machine, from what a person has named. Managers may outlive it. Thread-safe.
class HostLocation final : public platform::LocationServices {
public:
    /// `whenChanged` is called whenever a daemon's fix, heading or problem has changed, on a thread of the readers, which
    /// are to be destroyed after this. The clock must outlive the managers.
    HostLocation(HostLocationSource source, const platform::Clock& clock, ReaderThreads& readers,
        std::function<void()> whenChanged = nullptr);
    ~HostLocation() override;
    HostLocation(const HostLocation&) = delete;
    HostLocation& operator=(const HostLocation&) = delete;

    [[nodiscard]] std::unique_ptr<platform::CLLocationManager> makeLocationManager() override;

    /// Why there is no location, or, from a daemon, why it may be old: one line. Empty when nothing is wrong.
    [[nodiscard]] std::string problem() const;
    /// A daemon is being asked, and has not told its first fix.
    [[nodiscard]] bool isAwaited() const;

private:
    struct Known;
    class Manager;

    std::shared_ptr<const Known> known_;
    std::shared_ptr<void> client_; ///< hears a daemon, in a build that can
};

} // namespace tamsel::host
