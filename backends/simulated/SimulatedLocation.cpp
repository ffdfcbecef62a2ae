#include <simulated/SimulatedLocation.h>

namespace tamsel::simulated {

using namespace platform;

class SimulatedLocation::Manager final : public CLLocationManager {
public:
    explicit Manager(const SimulatedLocation& phone) : phone_(phone) { }

    [[nodiscard]] std::optional<CLLocation> location() const override { return phone_.location_; }
    [[nodiscard]] std::optional<CLHeading> heading() const override { return phone_.heading_; }

private:
    const SimulatedLocation& phone_;
};

std::unique_ptr<CLLocationManager> SimulatedLocation::makeLocationManager()
{
    ++managersMade_;
    return std::make_unique<Manager>(*this);
}

} // namespace tamsel::simulated
