#include <host/location/HostLocation.h>

#include <host/location/GpsdNews.h>

#ifdef TAMSEL_GPSD
#include <host/location/GpsdClient.h>
#endif

#include <utility>

namespace tamsel::host {

using platform::CLHeading;
using platform::CLLocation;
using platform::CLLocationManager;

/// Shared by the managers.
struct HostLocation::Known {
    [[nodiscard]] std::optional<CLLocation> location() const
    {
        if (source.fixed) {
            CLLocation location = *source.fixed;
            location.timestamp = clock.timeIntervalSince1970();
            return location;
        }
        return gpsd ? gpsd->location() : std::nullopt;
    }

    [[nodiscard]] std::optional<CLHeading> heading() const
    {
        if (source.heading || source.fixed)
            return source.heading;
        return gpsd ? gpsd->heading() : std::nullopt;
    }

    const HostLocationSource source;
    const platform::Clock& clock;
    const std::shared_ptr<GpsdNews> gpsd;
};

class HostLocation::Manager final : public CLLocationManager {
public:
    explicit Manager(std::shared_ptr<const Known> known) : known_(std::move(known)) { }

    [[nodiscard]] std::optional<CLLocation> location() const override { return known_->location(); }
    [[nodiscard]] std::optional<CLHeading> heading() const override { return known_->heading(); }

private:
    const std::shared_ptr<const Known> known_;
};

HostLocation::HostLocation(HostLocationSource source, const platform::Clock& clock)
{
    std::shared_ptr<GpsdNews> news;
    if (!source.fixed && source.gpsd) {
        news = std::make_shared<GpsdNews>(*source.gpsd);
#ifdef TAMSEL_GPSD
        client_ = std::make_shared<GpsdClient>(*source.gpsd, news);
#else
        news->setProblem("this build has no gpsd support");
#endif
    }
    known_ = std::make_shared<const Known>(std::move(source), clock, std::move(news));
}

HostLocation::~HostLocation() = default;

std::unique_ptr<CLLocationManager> HostLocation::makeLocationManager()
{
    return std::make_unique<Manager>(known_);
}

bool HostLocation::isAwaited() const
{
    return known_->gpsd && known_->gpsd->isAwaited();
}

std::string HostLocation::problem() const
{
    if (known_->gpsd)
        return known_->gpsd->problem();
    return known_->location() ? "" : "no source of a location is configured";
}

} // namespace tamsel::host
