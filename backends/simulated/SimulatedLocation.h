#pragma once

#include <tamsel/platform/CLLocationManager.h>
#include <tamsel/platform/LocationServices.h>

#include <memory>
#include <optional>

namespace tamsel::simulated {

/// A scripted location; none at the beginning. Managers return the current value, and may outlive this object.
class SimulatedLocation final : public platform::LocationServices {
public:
    void setLocation(std::optional<platform::CLLocation> location) { known_->location = location; }
    void setHeading(std::optional<platform::CLHeading> heading) { known_->heading = heading; }

    /// The number of managers that were made.
    [[nodiscard]] int managersMade() const { return managersMade_; }

    [[nodiscard]] std::unique_ptr<platform::CLLocationManager> makeLocationManager() override;

private:
    struct Known {
        std::optional<platform::CLLocation> location;
        std::optional<platform::CLHeading> heading;
    };
    class Manager;

    const std::shared_ptr<Known> known_ = std::make_shared<Known>();
    int managersMade_ = 0;
};

} // namespace tamsel::simulated
