#include <simulated/SimulatedLocation.h>

#include <utility>

namespace tamsel::simulated {

using namespace platform;

class SimulatedLocation::Manager final : public CLLocationManager {
public:
    explicit Manager(std::shared_ptr<const Known> known) : known_(std::move(known)) { }

    [[nodiscard]] std::optional<CLLocation> location() const override { return known_->location; }
    [[nodiscard]] std::optional<CLHeading> heading() const override { return known_->heading; }

private:
    const std::shared_ptr<const Known> known_;
};

std::unique_ptr<CLLocationManager> SimulatedLocation::makeLocationManager()
{
    ++managersMade_;
    return std::make_unique<Manager>(known_);
}

} // namespace tamsel::simulated
