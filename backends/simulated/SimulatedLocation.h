#pragma once

#include <tamsel/platform/CLLocationManager.h>

#include <memory>
#include <optional>

namespace tamsel::simulated {

/// Where the simulated phone is and where it points to, as far as it knows: nothing until a test says so.
class SimulatedLocation final : public platform::LocationServices {
public:
    void setLocation(std::optional<platform::CLLocation> location) { location_ = location; }
    void setHeading(std::optional<platform::CLHeading> heading) { heading_ = heading; }

    /// How many managers have been made.
    [[nodiscard]] int managersMade() const { return managersMade_; }

    [[nodiscard]] std::unique_ptr<platform::CLLocationManager> makeLocationManager() override;

private:
    class Manager;

    std::optional<platform::CLLocation> location_;
    std::optional<platform::CLHeading> heading_;
    int managersMade_ = 0;
};

} // namespace tamsel::simulated
