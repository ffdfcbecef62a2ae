#pragma once

#include <engine/dispatch/EventSource.h>
#include <engine/motion/MotionDriver.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/MotionServices.h>

#include <memory>
#include <vector>

namespace tamsel::engine {

/// The motion services of a phone on top of a driver; without one no service is available. The same for every back end.
/// All references must outlive the managers. Thread-safe.
class Motion final : public platform::MotionServices {
public:
    /// The driver may be absent.
    Motion(EventSources& sources, platform::Clock& clock, std::shared_ptr<MotionDriver> driver);

    [[nodiscard]] std::shared_ptr<platform::CMMotionManager> makeMotionManager() override;

    /// Posts a reading to every manager that has ever started the stream, also after a stop.
    void deliver(const GyroReading& reading) { deliverToAll(reading); }
    void deliver(const DeviceMotionReading& reading) { deliverToAll(reading); }

private:
    class Manager;

    template <typename Reading> void deliverToAll(const Reading& reading);

    EventSources& sources_;
    platform::Clock& clock_;
    const std::shared_ptr<MotionDriver> driver_;
    Mutex guard_;
    std::vector<std::weak_ptr<Manager>> managers_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
