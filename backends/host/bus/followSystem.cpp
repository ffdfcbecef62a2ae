#include <host/bus/followSystem.h>

#include <host/bus/LoginSession.h>
#include <host/bus/SensorProxy.h>

namespace tamsel::host {

namespace {

struct SystemEvents {
    SystemEvents(const FollowedEvents& followed, const SystemEventTargets& targets)
        : bus(std::make_shared<Bus>(
              Bus::Kind::system, targets.dispatch.makeSerialQueue("org.tamsel.host.bus"), targets.events)),
          proxy(*bus, followed, targets),
          session(std::make_shared<LoginSession>(*bus, followed, targets))
    {
        bus->open(
            [this, followed] {
                if (followed.deviceOrientation || followed.interfaceOrientation)
                    proxy.follow();
                if (followed.sleep || followed.lock || followed.userSwitch)
                    session->follow();
            },
            [this, &lines = targets.lines](const std::string& reason) {
                if (!reason.empty())
                    lines.writeLine("system bus: " + reason);
                session->forget();
            });
    }
    ~SystemEvents() { bus.reset(); }
    SystemEvents(const SystemEvents&) = delete;
    SystemEvents& operator=(const SystemEvents&) = delete;

    std::shared_ptr<Bus> bus;
    SensorProxy proxy;
    const std::shared_ptr<LoginSession> session;
};

} // namespace

std::shared_ptr<void> followSystem(const FollowedEvents& followed, const SystemEventTargets& targets)
{
    if (followed == FollowedEvents{false, false, false, false, false})
        return nullptr;
    return std::make_shared<SystemEvents>(followed, targets);
}

} // namespace tamsel::host
