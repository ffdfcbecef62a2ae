#pragma once

#include <tamsel/platform/CLLocationManager.h>
#include <tamsel/platform/LocationServices.h>

#include <memory>
#include <optional>

namespace tamsel::simulated {

/// A location that a test has scripted; none at the beginning. Managers say what holds when they are asked, and may
/// outlive this.
class SimulatedLocation final : public platform::LocationServices {
public:
    void setLocation(std::optional<platform::CLLocation> location) { known_->location = location; }
    void setHeading(std::optional<platform::CLHeading> heading) { known_->heading = heading; }

    /// How often somebody made one.
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
